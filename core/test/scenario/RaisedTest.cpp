// Each refusal of the core's goes through the utility library, once, with its exact text; each broken promise likewise. Those
// that the framework makes are its own.

#include "support/ChildProcess.h"
#include "support/ManagerTest.h"
#include "support/TestMount.h"
#include "support/UtilityRecorder.h"

#include <Quorvel/Core/Loader.h>
#include <Quorvel/Core/Memory/Control/Collection.h>
#include <Quorvel/Core/Memory/Entity/Destructor.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>
#include <Quorvel/Core/Memory/Info/Mount.h>
#include <Quorvel/Core/Poller.h>

#include <Kro/Dir.h>
#include <Quorvel/Utility/Affirm.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>

namespace {

using Quorvel::Core::Poller;
using Quorvel::Core::Memory::Control::Collection;
using Quorvel::Core::Memory::Entity::Destructor;
using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Memory::Entity::managerFactory;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::describeOddMount;
using Quorvel::Core::Test::inChild;
using Quorvel::Core::Test::RingEntry;
using Quorvel::Core::Test::UtilityRecorder;
using testing::ElementsAre;

namespace Info = Quorvel::Core::Memory::Info;

struct Failure {
   char const* passes; ///< what the utility library is told
   char const* text;   ///< of the exception
   std::function<void()> call;
};

std::string textOf(std::function<void()> const& call)
{
   try {
      call();
   } catch (std::exception const& error) {
      return error.what();
   }
   return "no exception";
}

void expectEach(std::vector<Failure> const& failures)
{
   for (auto const& [passes, text, call] : failures) {
      SCOPED_TRACE(text);
      UtilityRecorder::instance().takeCalls();
      EXPECT_EQ(textOf(call), text);
      EXPECT_THAT(UtilityRecorder::instance().takeCalls(), ElementsAre(passes));
   }
}

/// @param source  the file, below Quorvel/Core/, that affirms it
void expectPromise(std::string const& source, std::function<void()> const& call)
{
   SCOPED_TRACE(source);
   UtilityRecorder::instance().takeCalls();
   EXPECT_THROW(call(), Quorvel::Utility::AffirmException);
   EXPECT_THAT(UtilityRecorder::instance().takeCalls(), ElementsAre("affirm " + source));
}

constexpr auto invalidArgument = "raise std::invalid_argument";
constexpr auto attributeNotFound = "raise Kro::AttrNotFoundException";

TEST(Raised, refusalsOfDescriptions)
{
   Info::Collection sut("ring");
   sut.addGroup(0, 4);
   sut.addNameAttribute("command");
   sut.createChunk(0, "command", "c", 64, false);
   auto incomplete = sut;
   incomplete.addNameAttribute("status");
   Info::Collection note("note");
   note.addGroup(0, 4);
   note.addNameAttribute("command");
   note.createChunk(0, "command", "c", 64, false);
   Info::Mount mount("a", "TestMount");

   expectEach({
      {invalidArgument, "nameAttribute='command' already exists.", [&] { sut.addNameAttribute("command"); }},
      {invalidArgument, "group with id=0 already exists.", [&] { sut.addGroup(0, 4); }},
      {invalidArgument, "group with id=4294967294 does not exist.", [&] { sut.addGroup(4294967295, 4); }},
      {invalidArgument, "head=3 for group with id=1 is overlapping with previous group's entries.",
       [&] { sut.addGroup(1, 4, 3); }},
      {invalidArgument, "group for id=10 does not exist.", [&] { sut.createChunk(10, "command", "c", 1, false); }},
      {invalidArgument, "nameAttribute='status' does not exist.", [&] { sut.createChunk(0, "status", "c", 1, false); }},
      {invalidArgument, "chunk for nameAttribute='command' in group with id=0 already exists.",
       [&] { sut.createChunk(0, "command", "c", 1, false); }},
      {invalidArgument, "nameAttribute='status' does not exist for group with id=0",
       [&] { mount.collectionIs(incomplete); }},
      {attributeNotFound, "attribute 'note' of type 'TestMount' is no collection", [&] { mount.collectionIs(note); }},
   });
}

class RaisedOfLiveMemory : public Quorvel::Core::Test::ManagerTest {
protected:
   Orvo::Ptr<Collection> ring = Orvo::make<Collection>(nullptr);
};

TEST_F(RaisedOfLiveMemory, refusals)
{
   ring->attributesIs(RingEntry::kroType);
   ring->groupIs(0, 0, 4);
   auto const laidOut = Orvo::make<Collection>(
      [](std::uint32_t /*head*/, std::uint32_t /*index*/, std::uint32_t /*size*/) noexcept { return 0U; });
   laidOut->attributesIs(RingEntry::kroType);
   constexpr auto outOfRange = "raise Kro::RangeException";

   expectEach({
      {outOfRange, "index 0 is out of range.", [&] { ring->addressBus(RingEntry::statusNumber, 0); }},
      {outOfRange, "index 4294967295 is out of range.", [&] { ring->reset(4294967295); }},
      {invalidArgument, "attribute=3 has no runs: the collection has an offsetter.",
       [&] { static_cast<void>(laidOut->runs<std::uint32_t>(RingEntry::statusNumber)); }},
      {invalidArgument, "attribute=3 has size=4, but runs with size=1 are asked for.",
       [&] { static_cast<void>(ring->runs<std::uint8_t>(RingEntry::statusNumber)); }},
      {"raise std::bad_function_call", "bad_function_call", [&] { ring->synchronizeAll(); }},
   });
}

TEST_F(RaisedOfLiveMemory, brokenPromises)
{
   Kro::globalDir()->createEntity("TestMount", "occupied");
   auto const homeless = managerFactory("occupied");
   auto const foreign = Orvo::make<Kro::Dir>("foreign");
   auto const chunk = [] { store().chunkIs("c", 64, false); };

   expectPromise("Memory/Control/Detail/Chunk.cpp", [&] {
      pinmem.failAlloc(1);
      chunk();
   });
   expectPromise("Memory/Control/Detail/Chunk.cpp", [&] {
      pinmem.failMap(1);
      chunk();
   });
   expectPromise("Memory/Entity/Manager.cpp", [&] { homeless->mount(Info::Mount("a", "TestMount")); });
   expectPromise("Memory/Entity/Manager.cpp", [&] {
      sut->mount(Info::Mount("a", "TestMount"));
      sut->orphanIs("/m/zumem/a", foreign.get());
      sut->mount(Info::Mount("a", "TestMount"));
   });
}

TEST_F(RaisedOfLiveMemory, refusalsOfTheManager)
{
   sut->mount(Info::Mount("taken", "TestMount"));

   expectEach({
      {"raise Kro::EntityNotFoundException", "enity at path='b' does not exist.",
       [&] { static_cast<void>(sut->entify("b")); }},
      {invalidArgument,
       "path='taken' already exists with infoMount='Quorvel::Core::Memory::Info::Mount(collection={}, "
       "collectionInternal={}, path=\"taken\", type=\"TestMount\", isZeroedMemoryOnMounting=false)'.",
       [&] { sut->mount(describeMount("taken", "r")); }},
      {invalidArgument, "path='taken/a' leads through 'taken', which is no directory.",
       [&] { sut->mount(Info::Mount("taken/a", "TestMount")); }},
      {"raise Kro::TypeException",
       "attribute 'ringControl' of '/m/zumem/text' is of type 'text', which is no live collection",
       [&] { sut->mount(describeOddMount("text", "MountWithTextAsControl")); }},
      {attributeNotFound, "attribute 'ringControl' of '/m/zumem/null' holds no live collection",
       [&] { sut->mount(describeOddMount("null", "MountWithNullControl")); }},
      {attributeNotFound,
       "the live collection has no field 'status', which chunk 'odd.status.0' of group with id=0 is for",
       [&] { sut->mount(describeOddMount("field", "MountWithoutStatus")); }},
      {"raise std::bad_function_call", "bad_function_call",
       [&] { sut->mount(describeOddMount("sync", "MountWithoutSynchronizer")); }},
   });
}

TEST(Raised, refusalsOfThePoller)
{
   Poller sut;

   expectEach({
      {"raise std::system_error", "Unable to open file '/dev/not there': Bad file descriptor",
       [&] { sut.open("/dev/not there", O_RDONLY, POLLIN, nullptr); }},
   });
}

void printCalls()
{
   for (auto const& call : UtilityRecorder::instance().takeCalls()) {
      std::printf("%s\n", call.c_str());
   }
}

TEST(Raised, refusalOfNoLoaderBeforeItEndsTheProcess)
{
   auto const result = inChild({}, [] {
      std::set_terminate([] {
         printCalls();
         std::exit(0);
      });
      Quorvel::Core::Loader::Singleton::load("Nobody", "", nullptr);
   });

   EXPECT_EQ(result.output, "raise std::invalid_argument\n");
}

/// Made before `main`, so that it goes after the store and the orphanage; breaks promises then, where it has a manager.
struct LateAgent {
   LateAgent() { UtilityRecorder::instance(); } // which thus goes after this

   ~LateAgent()
   {
      if (manager == nullptr) {
         return;
      }
      UtilityRecorder::instance().takeCalls();
      for (auto const& call : std::initializer_list<std::function<void()>>{
              [&] { manager->mount(describeMount("new", "r")); }, [&] { manager->mount(describeMount("orphan", "r")); },
              [&] { manager->unmount("mounted"); }, [&] { Destructor::cleanup(manager->entify("mounted").get()); }}) {
         EXPECT_THROW(call(), Quorvel::Utility::AffirmException);
      }
      printCalls();
   }

   Orvo::Ptr<Manager> manager;
} lateAgent;

TEST(Raised, promisesThatBreakOnceTheStoreAndTheOrphanageAreGone)
{
   auto const result = inChild({}, [] {
      lateAgent.manager = managerFactory("late");
      lateAgent.manager->mount(describeMount("mounted", "r"));
      lateAgent.manager->mount(describeMount("orphan", "r"));
      lateAgent.manager->unmount("orphan");
   });

   std::string const ofTheManager = "affirm Memory/Entity/Manager.cpp\n";
   EXPECT_EQ(result.output, ofTheManager + ofTheManager + ofTheManager + "affirm Memory/Entity/Destructor.cpp\n");
}

} // namespace
