// How the store and the orphanage are found or made, told by stand-ins for the framework's functions for singletons. A
// program of its own; each test has a process of its own, since they are made once in one.

#include "support/ChildProcess.h"
#include "support/PinmemRecorder.h"
#include "support/TestMount.h"

#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>
#include <Quorvel/Core/Model/Modules.h>

#include <Quorvel/Utility/Affirm.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <stdexcept>
#include <string>

#include <dlfcn.h>

namespace {

bool isInsideFramework = false; ///< what it calls itself is nobody's business
bool isMakingRefused = false;

template <class Function, class... Arguments>
Orvo::Ptr<Kro::Entity> callFramework(char const* name, Arguments const&... arguments)
{
   auto* const function = ::dlsym(RTLD_NEXT, name);
   if (function == nullptr) {
      throw std::runtime_error(::dlerror());
   }
   isInsideFramework = true;
   auto entity = reinterpret_cast<Function*>(function)(arguments...);
   isInsideFramework = false;
   return entity;
}

void note(std::string const& call)
{
   if (!isInsideFramework) {
      std::printf("%s\n", call.c_str());
   }
}

} // namespace

Orvo::Ptr<Kro::Entity> Kro::Entity::singletonExists(Orvo::String const& name)
{
   note("exists " + std::string(name));
   return callFramework<Orvo::Ptr<Kro::Entity>(Orvo::String const&)>(
      "_ZN3Kro6Entity15singletonExistsERKN4Orvo6StringE", name);
}

Orvo::Ptr<Kro::Entity> Kro::Entity::singletonIs(KroModule const& module, int flags, Orvo::String const& name)
{
   note("is " + std::string(module.source) + " " + std::to_string(flags) + " " + std::string(name));
   if (isMakingRefused) {
      return nullptr;
   }
   return callFramework<Orvo::Ptr<Kro::Entity>(KroModule const&, int, Orvo::String const&)>(
      "_ZN3Kro6Entity11singletonIsERKNS_9KroModuleEiRKN4Orvo6StringE", module, flags, name);
}

namespace {

using Quorvel::Core::Memory::Control::Detail::Chunk;
using Quorvel::Core::Memory::Control::Detail::StoreChunk;
using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::inChild;

constexpr char const* storeName = "Quorvel::Core::Memory::Control::Detail::StoreChunk";
constexpr char const* orphanageName = "Quorvel::Core::Memory::Entity::Detail::Orphanage";

/// What the body writes, in a process that must end well.
std::string outputOf(std::function<void()> const& body)
{
   auto const result = inChild({}, body);
   EXPECT_EQ(result.errors, "");
   EXPECT_EQ(result.status, 0);
   return result.output;
}

std::string lookUpOf(std::string const& name)
{
   return "exists " + name + "\n";
}

std::string makingOf(std::string const& name, std::string const& source)
{
   return "is " + source + " 1 " + name + "\n";
}

TEST(SingletonOwner, looksForTheStoreAndMakesItAtTheFirstCall)
{
   auto const output = outputOf([] {
      auto const first = StoreChunk::instance();
      std::printf("%s", first != nullptr && StoreChunk::instance() == first ? "one" : "none");
   });

   EXPECT_EQ(output, lookUpOf(storeName) + makingOf(storeName, "Memory/Control/Chunk") + "one");
}

TEST(SingletonOwner, looksForTheOrphanageAndMakesItAtTheFirstCall)
{
   auto const output = outputOf([] {
      auto const first = Manager::orphanage();
      std::printf("%s", first != nullptr && Manager::orphanage() == first ? "one" : "none");
   });

   EXPECT_EQ(output, lookUpOf(orphanageName) + makingOf(orphanageName, "Memory/Entity/Manager") + "one");
}

TEST(SingletonOwner, makesNoneWhereThereIsOne)
{
   auto const output = outputOf([] {
      auto const store = Kro::Entity::singletonIs(_Chunk_334569107d2ca953_kroModule, 1, storeName);
      auto const orphanage = Kro::Entity::singletonIs(_Manager_3f1d6af35e273bc_kroModule, 1, orphanageName);
      bool const areThose = StoreChunk::instance() == store && Manager::orphanage() == orphanage;
      std::printf("%s", areThose ? "those" : "others");
   });

   EXPECT_EQ(
      output, makingOf(storeName, "Memory/Control/Chunk") + makingOf(orphanageName, "Memory/Entity/Manager") +
                 lookUpOf(storeName) + lookUpOf(orphanageName) + "those");
}

TEST(SingletonOwner, keepsNullWhereNoneCanBeMadeAndAsksNoMore)
{
   auto const output = outputOf([] {
      isMakingRefused = true;
      bool const isNull = StoreChunk::instance() == nullptr && Manager::orphanage() == nullptr;
      isMakingRefused = false;
      bool const isStillNull = StoreChunk::instance() == nullptr && Manager::orphanage() == nullptr;
      std::printf("%s", isNull && isStillNull ? "null" : "one");
   });

   EXPECT_EQ(
      output, lookUpOf(storeName) + makingOf(storeName, "Memory/Control/Chunk") + lookUpOf(orphanageName) +
                 makingOf(orphanageName, "Memory/Entity/Manager") + "null");
}

TEST(SingletonOwner, withoutAStoreChunksComeAndGoAndMountsAreRefused)
{
   auto const output = outputOf([] {
      isMakingRefused = true;
      StoreChunk::instance();
      auto& pinmem = Quorvel::Core::Test::PinmemRecorder::instance();
      static_cast<void>(Orvo::make<Chunk>("own", 64U, false));
      std::printf("%zu mapped, ", pinmem.stillMapped().size());
      try {
         Manager::instantiate("agent")->mount(describeMount("a", "r"));
      } catch (Quorvel::Utility::AffirmException const&) {
         std::printf("refused");
      }
   });

   EXPECT_EQ(output, lookUpOf(storeName) + makingOf(storeName, "Memory/Control/Chunk") + "0 mapped, refused");
}

} // namespace
