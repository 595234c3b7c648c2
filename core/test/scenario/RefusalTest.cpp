// Bad input, over the real pinned-memory library: one clear exception each, and what the state is afterwards.

#include "support/ChangeRecorder.h"
#include "support/MemoryDomain.h"
#include "support/MessageOf.h"
#include "support/TestMount.h"

#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>

#include <Kro/Exception.h>
#include <Kro/KroModule.h>
#include <Kro/Table.h>
#include <pinmem/pinmem.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>

namespace {

using Quorvel::Core::Memory::Control::Detail::StoreChunk;
using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Test::brokenPromiseOf;
using Quorvel::Core::Test::ChangeRecorder;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::describeRing;
using Quorvel::Core::Test::MemoryDomain;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::TestMount;

namespace Info = Quorvel::Core::Memory::Info;

/// A mount of one chunk of that name.
Info::Mount describeBlock(Orvo::String const& block, std::uint32_t size = 64)
{
   Info::Collection collection("ring");
   collection.addGroup(0, 4);
   collection.addNameAttribute("command");
   collection.createChunk(0, "command", block, size, false);
   Info::Mount mount("a", "TestMount");
   mount.collectionIs(collection);
   return mount;
}

/// Mounts, and prints which promise broke and what the pinned-memory library says, and then the state: what is stored, what
/// is published, what of the entity is there.
void printRefusalOf(Info::Mount const& mount)
{
   auto const manager = Manager::instantiate("agent");
   ChangeRecorder const changes(*StoreChunk::instance()->publisher());
   std::printf("%s\n", brokenPromiseOf([&] { manager->mount(mount); }).c_str());
   std::printf("%s\n", pinmem_last_error());
   auto const entity = Orvo::dynamicCast<TestMount>(manager->entify("a"));
   std::printf(
      "%zu chunks, %zu published, description %s, capacity %u", StoreChunk::instance()->chunk().size(),
      changes.changes().size(), manager->infoMount("a") == mount ? "stored" : "lost", entity->ring->capacity());
}

constexpr char const* nothingBuilt = "\n0 chunks, 0 published, description stored, capacity 0";

TEST(Refusal, blockWithoutName)
{
   MemoryDomain const domain;

   auto const result = domain.run([] { printRefusalOf(describeBlock("")); });

   EXPECT_EQ(
      result.output, std::string("Memory/Control/Detail/Chunk.cpp\n"
                                 "pinmem: '': the name is empty; a block's name has 1 to 255 bytes") +
                        nothingBuilt);
   EXPECT_EQ(result.status, 0);
}

TEST(Refusal, blockWithANameOf256Bytes)
{
   MemoryDomain const domain;

   auto const result = domain.run([] { printRefusalOf(describeBlock(std::string(256, 'n'))); });

   EXPECT_EQ(
      result.output, "Memory/Control/Detail/Chunk.cpp\npinmem: '" + std::string(255, 'n') +
                        "...': the name has 256 bytes; a block's name has 1 to 255 bytes" + nothingBuilt);
   EXPECT_EQ(result.status, 0);
}

TEST(Refusal, blockWithANameOf255BytesIsNone)
{
   MemoryDomain const domain;

   auto const result = domain.run([] { printRefusalOf(describeBlock(std::string(255, 'n'))); });

   EXPECT_EQ(result.output, "no exception\n\n1 chunks, 1 published, description stored, capacity 4");
}

TEST(Refusal, blockThatAnotherProcessMadeSmaller)
{
   MemoryDomain const domain;
   domain.run([] { StoreChunk::instance()->chunkIs("block", 64, false); });

   auto const result = domain.run([] { printRefusalOf(describeBlock("block", 1000000)); });

   EXPECT_EQ(
      result.output, std::string("Memory/Control/Detail/Chunk.cpp\n"
                                 "pinmem: 'block': 1000000 bytes are asked for, but the block was made with 64 bytes "
                                 "and has room for 64; ask for no more, or use another name") +
                        nothingBuilt);
}

TEST(Refusal, blockThatAnotherProcessMadeOfOrdinaryMemory)
{
   MemoryDomain const domain;
   domain.run([] { StoreChunk::instance()->chunkIs("block", 64, true); });

   auto const result = domain.run([] { printRefusalOf(describeBlock("block")); });

   EXPECT_EQ(
      result.output, std::string("Memory/Control/Detail/Chunk.cpp\n"
                                 "pinmem: 'block': DMA memory is asked for, but the block was made as ordinary memory "
                                 "(flags=1); use another name") +
                        nothingBuilt);
}

TEST(Refusal, memoryDirectoryThatIsNotThere)
{
   MemoryDomain const domain;
   auto const place = domain.path() + "/missing";

   auto const result = domain.run([] { printRefusalOf(describeBlock("block")); }, {{"PINMEM_DIR", place}});

   EXPECT_EQ(
      result.output,
      "Memory/Control/Detail/Chunk.cpp\npinmem: 'block': directory '" + place +
         "' cannot be opened: No such file or directory; it must be a directory and no link; make it, or "
         "name another with PINMEM_DIR" +
         nothingBuilt);
   EXPECT_EQ(result.status, 0);
}

TEST(Refusal, memoryDirectoryThatCannotBeWritten)
{
   MemoryDomain const domain;

   // Nobody, root included, makes a directory there.
   auto const result =
      domain.run([] { printRefusalOf(describeBlock("block")); }, {{"PINMEM_DIR", "/proc/self/fdinfo"}});

   auto const because = [](std::string const& reason) {
      return "Memory/Control/Detail/Chunk.cpp\n"
             "pinmem: 'block': no writable memory directory: '/proc/self/fdinfo/test' cannot be made: " +
             reason + "; make '/proc/self/fdinfo' writable, or name another place with PINMEM_DIR" + nothingBuilt;
   };
   EXPECT_THAT(result.output, testing::AnyOf(because("No such file or directory"), because("Permission denied")));
   EXPECT_EQ(result.status, 0);
}

TEST(Refusal, sizeThatAnotherMountOfTheProcessAsksForOtherwise)
{
   MemoryDomain const domain;

   auto const result = domain.run([] {
      auto const manager = Manager::instantiate("agent");
      auto const other = Manager::instantiate("other");
      manager->mount(describeBlock("block", 64));
      auto const chunk = StoreChunk::instance()->chunk("block");
      ChangeRecorder const changes(*StoreChunk::instance()->publisher());
      std::printf(
         "%s\n", messageOf<Kro::ReinstantiatingException>([&] { other->mount(describeBlock("block", 65)); }).c_str());
      auto const first = Orvo::dynamicCast<TestMount>(manager->entify("a"));
      std::printf(
         "%zu published, first mount %s, second has capacity %u", changes.changes().size(),
         first->ring->addressBus(2, 0) == chunk->addressBus() ? "untouched" : "changed",
         Orvo::dynamicCast<TestMount>(other->entify("a"))->ring->capacity());
   });

   EXPECT_EQ(
      result.output, "Memory/Control/Chunk 'block': size=65 is asked for, but size=64 exists\n"
                     "0 published, first mount untouched, second has capacity 0");
   EXPECT_EQ(result.status, 0);
}

TEST(Refusal, pathThatIsTaken)
{
   MemoryDomain const domain;

   auto const result = domain.run([] {
      auto const manager = Manager::instantiate("agent");
      manager->mount(Info::Mount("a", "TestMount"));
      std::printf("%s\n", messageOf<std::invalid_argument>([&] { manager->mount(describeBlock("block")); }).c_str());
      std::printf("%zu chunks", StoreChunk::instance()->chunk().size());
   });

   EXPECT_EQ(
      result.output, "path='a' already exists with infoMount='Quorvel::Core::Memory::Info::Mount(collection={}, "
                     "collectionInternal={}, path=\"a\", type=\"TestMount\", isZeroedMemoryOnMounting=false)'.\n"
                     "0 chunks");
}

TEST(Refusal, typeThatNobodyRegistered)
{
   Info::Mount mount("a", "Tset");

   EXPECT_EQ(
      messageOf<Kro::TypeNotFoundException>([&] { mount.collectionIs(describeRing("r")); }),
      "no registered type is named 'Tset'");
   EXPECT_EQ(
      messageOf<Kro::TypeNotFoundException>([] { Manager::instantiate("agent")->mount(Info::Mount("a", "Tset")); }),
      "no registered type is named 'Tset'");
}

TEST(Refusal, collectionThatTheTypeLacks)
{
   Info::Mount mount("a", "TestMount");

   EXPECT_EQ(
      messageOf<Kro::AttrNotFoundException>([&] { mount.collectionIs(Info::Collection("rings")); }),
      "type 'TestMount' has no attribute 'rings'");
}

TEST(Refusal, managerNameWithASlash)
{
   EXPECT_EQ(
      messageOf<Kro::NewEntityArgsException>([] { Manager::instantiate("slice/0"); }),
      "an entity of type 'Kro::Dir' named 'slice/0' cannot be made: a name cannot hold '/'");
   EXPECT_EQ(Kro::globalDir()->entity("slice/0"), nullptr);
   EXPECT_EQ(Kro::globalDir()->entity("slice"), nullptr);
}

// ---- modules that cannot be registered -----------------------------------------------------------------------------------

extern Kro::KroModule sameTypeModule;
extern Kro::KroModule sameNameModule;
extern Kro::KroModule twiceModule;
extern Kro::KroModule baseModule;
extern Kro::KroModule unregisteredModule;

/// An entity type of a module of its own; `Base` is what it claims to inherit from.
template <Kro::KroModule& module>
struct Stray : Kro::Entity {
   explicit Stray(Orvo::String const& name) : Entity(name) {}

   ~Stray() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   static Kro::KroType const kroType;
   std::uint32_t number = 0;
};

using SameType = Stray<sameTypeModule>;
using SameName = Stray<sameNameModule>;
using Twice = Stray<twiceModule>;
using Base = Stray<unregisteredModule>;

struct Derived : Base {
   using Stray::Stray;

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   static Kro::KroType const kroType;
   std::uint32_t other = 0;
};

template <class T, class From>
struct StrayDeclaration {
   static constexpr auto table = Kro::table<T, From>(Kro::value<300, &T::number>("number"));
};

struct DerivedDeclaration {
   static constexpr auto table = Kro::table<Derived, Base>(Kro::value<301, &Derived::other>("other"));
};

template <>
constinit Kro::KroType const
   SameType::kroType = Kro::entityType<SameType, StrayDeclaration<SameType, Kro::Entity>>("TestMount", &sameTypeModule);
template <>
constinit Kro::KroType const SameName::kroType =
   Kro::entityType<SameName, StrayDeclaration<SameName, Kro::Entity>>("StrayOfSameName", &sameNameModule);
template <>
constinit Kro::KroType const
   Twice::kroType = Kro::entityType<Twice, StrayDeclaration<Twice, Kro::Entity>>("StrayTwice", &twiceModule);
template <>
constinit Kro::KroType const
   Base::kroType = Kro::entityType<Base, StrayDeclaration<Base, Kro::Entity>>("StrayBase", &unregisteredModule);
constinit Kro::KroType const Derived::kroType =
   Kro::entityType<Derived, DerivedDeclaration>("StrayDerived", &baseModule);

constexpr Kro::KroType const* sameTypes[] = {&SameType::kroType};
constexpr Kro::KroType const* sameNames[] = {&SameName::kroType};
constexpr Kro::KroType const* twice[] = {&Twice::kroType, &Twice::kroType};
constexpr Kro::KroType const* derived[] = {&Derived::kroType};

constinit Kro::KroModule sameTypeModule{"StraySameType", "test", sameTypes, {}};
constinit Kro::KroModule sameNameModule{"Mount", "test", sameNames, {}};
constinit Kro::KroModule twiceModule{"StrayTwice", "test", twice, {}};
constinit Kro::KroModule baseModule{"StrayBase", "test", derived, {}};
constinit Kro::KroModule unregisteredModule{"StrayUnregistered", "test", {}, {}};

/// The text of the refusal, after which nothing may have been registered.
std::string refusalOf(Kro::KroModule& module)
{
   auto const* const first = Kro::firstModule();
   auto const text = messageOf<Kro::ModuleException>([&] { Kro::kroModuleIs(module); });
   EXPECT_EQ(Kro::firstModule(), first);
   EXPECT_FALSE(module.isRegistered);
   EXPECT_EQ(module.next, nullptr);
   return text;
}

TEST(Refusal, typeNameInTwoModules)
{
   EXPECT_EQ(
      refusalOf(sameTypeModule),
      "module 'StraySameType' cannot be registered: type 'TestMount' is registered already by module 'CoreTest'");
   EXPECT_EQ(&Kro::typeNode("TestMount"), &TestMount::kroType);
}

TEST(Refusal, moduleNameThatIsTaken)
{
   EXPECT_EQ(
      refusalOf(sameNameModule),
      "module 'Mount' cannot be registered: another module of that name is registered already");
   EXPECT_EQ(Kro::findType("StrayOfSameName"), nullptr);
}

TEST(Refusal, typeNameTwiceInOneModule)
{
   EXPECT_EQ(refusalOf(twiceModule), "module 'StrayTwice' cannot be registered: it holds two types named 'StrayTwice'");
}

TEST(Refusal, baseThatIsNotRegistered)
{
   EXPECT_EQ(
      refusalOf(baseModule), "module 'StrayBase' cannot be registered: the base 'StrayBase' of its type 'StrayDerived' "
                             "is neither registered nor earlier in this module");
   EXPECT_EQ(Kro::findType("StrayDerived"), nullptr);
}

TEST(Refusal, mountOfATypeWhoseModuleWasRefused)
{
   EXPECT_THROW(Kro::kroModuleIs(baseModule), Kro::ModuleException);

   EXPECT_EQ(
      messageOf<Kro::TypeNotFoundException>(
         [] { Manager::instantiate("agent")->mount(Info::Mount("stray", "StrayDerived")); }),
      "no registered type is named 'StrayDerived'");
}

} // namespace
