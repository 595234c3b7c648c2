// What the library promises of itself as a whole, whatever it is used for: a life in which every part has its say, and fails
// too, over the real platform, whose calls are written down on their way.

#include "support/CallRecorder.h"
#include "support/MemoryDomain.h"
#include "support/TestMount.h"

#include <Quorvel/Core/Entifier.h>
#include <Quorvel/Core/Loader.h>
#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Memory/Entity/Destructor.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>
#include <Quorvel/Core/Pointer.h>
#include <Quorvel/Core/Poller.h>

#include <Kro/Exception.h>
#include <Kro/GenericIf.h>
#include <Orvo/Subscriber.h>
#include <Quorvel/Utility/Affirm.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <iterator>
#include <mutex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace {

using Quorvel::Core::Poller;
using Quorvel::Core::Detail::MakerPathMount;
using Quorvel::Core::Memory::Control::Detail::StoreChunk;
using Quorvel::Core::Memory::Entity::Destructor;
using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Test::CallRecorder;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::describeOddMount;
using Quorvel::Core::Test::describeRing;
using Quorvel::Core::Test::Environment;
using Quorvel::Core::Test::MemoryDomain;
using Quorvel::Core::Test::RingEntry;
using testing::Contains;
using testing::ElementsAre;
using testing::Gt;
using testing::IsEmpty;
using testing::SizeIs;

namespace Control = Quorvel::Core::Memory::Control;
namespace Entity = Quorvel::Core::Memory::Entity;
namespace Info = Quorvel::Core::Memory::Info;
namespace Loader = Quorvel::Core::Loader;

using Kind = CallRecorder::Kind;

constexpr char const* core = "libQuorvelCore.so";

class Family final : public Loader::Singleton {
public:
   using Singleton::Singleton;

   ~Family() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Orvo::String prefixPath() const override { return "Family"; }
};

/// Uses every part once and more, where it goes well and where it does not. Nothing of it is left but what a process has once.
class Life {
public:
   void live()
   {
      describe();
      mount();
      useALiveCollection();
      runOutOfMemory();
      expandPaths();
      loadPlugins();
      pollFiles();
      StoreChunk::instance()->chunkDelAll();
      Kro::globalDir()->deleteEntity("life");
   }

   /// The threads on which the library has called handlers, synchronizers, offsetters and subscribers.
   std::set<pid_t> const& threads() const { return threads_; }

   /// How often it has.
   int calls() const { return calls_; }

private:
   void called()
   {
      threads_.insert(::gettid());
      ++calls_;
   }

   void describe()
   {
      Info::Collection ring("ring");
      ring.addGroup(0, 4);
      ring.addNameAttribute("command");
      ring.createChunk(0, "command", "life.command", 64, false);
      EXPECT_THROW(ring.addGroup(0, 4), std::invalid_argument);
      EXPECT_THROW(ring.addGroup(2, 4), std::invalid_argument);
      EXPECT_THROW(ring.addGroup(1, 4, 1), std::invalid_argument);
      EXPECT_THROW(ring.addNameAttribute("command"), std::invalid_argument);
      EXPECT_THROW(ring.createChunk(1, "command", "c", 1, false), std::invalid_argument);
      EXPECT_THROW(ring.createChunk(0, "status", "c", 1, false), std::invalid_argument);
      EXPECT_THROW(ring.createChunk(0, "command", "c", 1, false), std::invalid_argument);

      Info::Mount mount("life", "TestMount");
      mount.collectionIs(ring);
      auto const same = mount;
      ring.addNameAttribute("status");
      EXPECT_THROW(mount.collectionIs(ring), std::invalid_argument);
      EXPECT_THROW(
         Info::Mount("life", "TestMount").collectionIs(Info::Collection("nothing")), Kro::AttrNotFoundException);
      EXPECT_THROW(Info::Mount("life", "Nothing").collectionIs(describeRing("r")), Kro::TypeNotFoundException);
      EXPECT_FALSE(same == mount);
      mount.collectionDelAll();

      std::ostringstream text;
      text << same << ring << ring.group(0) << ring.group(0).chunk("command") << Loader::Pimpl()
           << Entity::Detail::Info() << Quorvel::Core::Memory::Pointer<int>();
      Kro::CharRange rest("rest");
      EXPECT_THROW(Info::Detail::Chunk{rest}, Kro::ParseException);
   }

   void mount()
   {
      Orvo::CallbackSubscriber const ofTheStore(
         *StoreChunk::instance()->publisher(), [this](Orvo::Change const&) { called(); });
      Orvo::CallbackSubscriber const ofTheOrphanage(
         *Manager::orphanage()->publisher(), [this](Orvo::Change const&) { called(); });
      EXPECT_EQ(Manager::instantiate("life"), Manager::instantiate("life"));
      auto const manager = Entity::managerFactory("life");

      manager->mount(describeMount("d/a", "a"));
      auto zeroed = describeMount("d/b", "b");
      zeroed.isZeroedMemoryOnMountingIs(true);
      manager->mount(zeroed);
      EXPECT_THROW(manager->mount(describeOddMount("d/a", "DirectoryMount")), std::invalid_argument);
      EXPECT_THROW(manager->mount(Info::Mount("d/a/below", "TestMount")), std::invalid_argument);
      EXPECT_THROW(manager->mount(describeOddMount("text", "MountWithTextAsControl")), Kro::TypeException);
      EXPECT_THROW(manager->mount(describeOddMount("null", "MountWithNullControl")), Kro::AttrNotFoundException);
      EXPECT_THROW(manager->mount(describeOddMount("field", "MountWithoutStatus")), Kro::AttrNotFoundException);
      EXPECT_THROW(manager->mount(describeOddMount("sync", "MountWithoutSynchronizer")), std::bad_function_call);
      EXPECT_THROW(static_cast<void>(manager->entify("nothing")), Kro::EntityNotFoundException);
      EXPECT_THROW(Manager::instantiate("life/0"), Kro::NewEntityArgsException);
      EXPECT_THROW(Destructor::cleanup(nullptr), Kro::ArgNullPointerException);

      manager->unmount("d/a");
      manager->mount(describeMount("d/a", "a")); // adopted
      for (auto const* path : {"d/a", "d/b", "text", "null", "field", "sync"}) {
         manager->unmount(path);
         Destructor::cleanup(manager->entify(path).get());
      }
      Manager::instantiate("life")->infoMountDelAll();
      EXPECT_TRUE(manager->directory()->entity().empty());
   }

   void useALiveCollection()
   {
      static Life* self = nullptr; // a layout rule is a plain function
      self = this;
      auto const store = StoreChunk::instance();
      auto const offsetter = [](std::uint32_t head, std::uint32_t index, std::uint32_t size) noexcept {
         self->called();
         return (index - head) * size;
      };
      for (Control::Offsetter const rule : {Control::Offsetter(nullptr), Control::Offsetter(offsetter)}) {
         auto const ring = Orvo::make<Control::Collection>(rule);
         ring->attributesIs(RingEntry::kroType);
         ring->synchronizerIs([this](std::uint32_t) { called(); });
         for (auto& field : ring->attribute()) {
            field.groupIs(ring->groupIs(0, 0, 4));
            field.chunkIs(0, store->chunkIs("life", 256, false));
         }
         ring->capacityIs(4);
         ring->synchronizeAll();
         ring->reset(3);
         EXPECT_NE(ring->addressBus(RingEntry::commandNumber, 3), 0U);
         EXPECT_NE(ring->addressVirtual(RingEntry::commandNumber, 3), 0U);
         auto const object = Kro::GenericIf::ofNode(*ring);
         std::uint32_t capacity = 0;
         EXPECT_EQ(object.get(134, Kro::GenericIf::of(capacity)), Kro::success);
         EXPECT_EQ(object.get(999, Kro::GenericIf::of(capacity)), Kro::noSuchAttribute);
         EXPECT_THROW(static_cast<void>(ring->addressBus(RingEntry::tailNumber, 4)), Kro::RangeException);
         EXPECT_THROW(static_cast<void>(ring->runs<std::uint8_t>(RingEntry::tailNumber)), std::invalid_argument);
         EXPECT_THROW(ring->groupIs(0, 1, 4), Kro::ReinstantiatingException);
         EXPECT_THROW(ring->attributeIs(RingEntry::tailNumber, 1), Kro::ReinstantiatingException);
         EXPECT_THROW(store->chunkIs("life", 255, false), Kro::ReinstantiatingException);
         EXPECT_THROW(ring->attribute(RingEntry::tailNumber)->groupIs(nullptr), Kro::ArgNullPointerException);
      }
   }

   static void runOutOfMemory()
   {
      EXPECT_THROW(StoreChunk::instance()->chunkIs("", 64, false), Quorvel::Utility::AffirmException);
   }

   static void expandPaths()
   {
      MakerPathMount maker;
      maker.cellIdValue = MakerPathMount::cellId();
      maker.arg0Value = "queues";
      EXPECT_EQ(maker.makePath("cell%cellId/%arg0"), "cell7/queues");
   }

   static void loadPlugins()
   {
      auto const family = Orvo::make<Family>("family");
      Plugin::Loader<void> loader;
      Loader::Singleton::load(family->prefixPath(), family->suffixPath(), &loader);
      Loader::Singleton::load(family->prefixPath(), family->suffixPath(), &loader);
      EXPECT_THROW(Loader::Pimpl::instantiate("nobody"), Kro::EntityNotFoundException);
   }

   void pollFiles()
   {
      Poller poller;
      poller.open("/dev/zero", O_RDONLY | O_CLOEXEC, POLLIN, [this](Poller::File const&) {
         called();
         return true;
      });
      EXPECT_EQ(poller.poll(-1), 1);
      EXPECT_THROW(poller.open("/dev/not there", O_RDONLY, POLLIN, nullptr), std::system_error);
   }

   std::set<pid_t> threads_;
   int calls_ = 0;
};

/// What went wrong in a process that lived, and then did the check; nothing else may have been written by then.
std::string wrongIn(std::function<void(Life const&)> const& check)
{
   MemoryDomain const domain;
   Environment const environment{{"CELL_ID", "7"}, {"PLUGIN_PATH", domain.path()}};
   auto const result = domain.run(
      [&] {
         CallRecorder::start();
         Life life;
         life.live();
         check(life);
      },
      environment);
   return result.output + result.errors + (result.status == 0 ? "" : "status " + std::to_string(result.status));
}

TEST(WholeLife, writesNothingToTheStandardStreams)
{
   auto const wrong = wrongIn([](Life const&) {});

   EXPECT_EQ(wrong, "");
}

TEST(WholeLife, startsNoThread)
{
   auto const wrong = wrongIn([](Life const&) {
      EXPECT_THAT(CallRecorder::calls(Kind::thread, ""), IsEmpty());
      EXPECT_EQ(std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}), 1);
      std::thread([] {}).join();
      EXPECT_THAT(CallRecorder::calls(Kind::thread, ""), SizeIs(1)); // so they are seen
   });

   EXPECT_EQ(wrong, "");
}

TEST(WholeLife, callsEveryHandlerSynchronizerOffsetterAndSubscriberOnTheCallersThread)
{
   auto const wrong = wrongIn([](Life const& life) {
      EXPECT_THAT(life.calls(), Gt(4));
      EXPECT_THAT(life.threads(), ElementsAre(::gettid()));
   });

   EXPECT_EQ(wrong, "");
}

TEST(WholeLife, takesNoLock)
{
   auto const wrong = wrongIn([](Life const&) {
      EXPECT_THAT(CallRecorder::calls(Kind::lock, core), IsEmpty());
      CallRecorder::start();
      std::mutex mutex;
      std::lock_guard const lock(mutex);
      EXPECT_THAT(CallRecorder::calls(Kind::lock, ""), ElementsAre("pthread_mutex_lock")); // so they are seen
   });

   EXPECT_EQ(wrong, "");
}

TEST(WholeLife, readsNoVariable)
{
   auto const wrong = wrongIn([](Life const&) {
      EXPECT_THAT(CallRecorder::calls(Kind::variable, core), IsEmpty());
      EXPECT_THAT(CallRecorder::calls(Kind::variable, ""), Contains("secure_getenv CELL_ID")); // so they are seen
   });

   EXPECT_EQ(wrong, "");
}

TEST(WholeLife, opensTheFilesThatThePollerIsAskedForAndNoOthers)
{
   auto const wrong = wrongIn([](Life const&) {
      EXPECT_THAT(CallRecorder::calls(Kind::file, core), ElementsAre("open /dev/zero", "open /dev/not there"));
   });

   EXPECT_EQ(wrong, "");
}

TEST(WholeLife, publishesTheChunksOfTheStoreAndTheRecordsOfTheOrphanageAndNothingElse)
{
   auto const wrong = wrongIn([](Life const&) {
      auto const calls = CallRecorder::calls(Kind::publication, core);
      EXPECT_THAT(
         std::set<std::string>(calls.begin(), calls.end()), ElementsAre("publish chunk(258)", "publish info(258)"));
      EXPECT_THAT(CallRecorder::calls(Kind::publication, "libkro.so"), Contains("publish entity(258)"));
   });

   EXPECT_EQ(wrong, "");
}

TEST(WholeLife, makesOneOfEveryTrackedClassAndLeavesNone)
{
   auto const wrong = wrongIn([](Life const&) {
      for (auto const* tracker :
           {&Info::Detail::Group::KroChunkInternal::memAllocationTracker_,
            &Info::Collection::KroGroup::memAllocationTracker_,
            &Info::Mount::KroCollectionInternal::memAllocationTracker_, &Control::Detail::Chunk::memAllocationTracker_,
            &Control::Detail::Group::memAllocationTracker_, &Control::Detail::Attribute::memAllocationTracker_,
            &Control::Detail::Attribute::KroGroup::memAllocationTracker_,
            &Control::Detail::Attribute::KroChunk::memAllocationTracker_, &Control::Collection::memAllocationTracker_,
            &Control::Collection::KroGroup::memAllocationTracker_, &Loader::Singleton::memAllocationTracker_}) {
         EXPECT_GT(tracker->allocations(), 0U) << tracker->name;
         EXPECT_EQ(tracker->liveCount(), 0U) << tracker->name;
      }
      // What a process has once, and the manager in the registry.
      for (auto const* tracker :
           {&StoreChunk::memAllocationTracker_, &Entity::Detail::Orphanage::memAllocationTracker_,
            &Manager::memAllocationTracker_}) {
         EXPECT_EQ(tracker->liveCount(), 1U) << tracker->name;
      }
   });

   EXPECT_EQ(wrong, "");
}

/// Whether the first of two calls takes the guard of one static object of the core's, and the second none any more.
template <class Call>
void expectOneGuard(Call const& call)
{
   CallRecorder::start();
   call();
   EXPECT_EQ(CallRecorder::calls(Kind::firstUse, core).size(), 1U);
   call();
   EXPECT_EQ(CallRecorder::calls(Kind::firstUse, core).size(), 1U);
}

// Before anything else uses them: ctest runs each test in a process of its own.
TEST(FirstUse, ofTheStoreIsGuarded)
{
   expectOneGuard([] { StoreChunk::instance(); });
}

TEST(FirstUse, ofTheOrphanageIsGuarded)
{
   expectOneGuard([] { Manager::orphanage(); });
}

TEST(FirstUse, ofTheRegistryOfManagersIsGuarded)
{
   expectOneGuard([] { Manager::instantiate("first"); });
}

TEST(FirstUse, ofTheKeysOfLoadedFamiliesIsGuarded)
{
   Plugin::Loader<void> loader;
   expectOneGuard([&] { Loader::Singleton::load("First", "", &loader); });
}

} // namespace
