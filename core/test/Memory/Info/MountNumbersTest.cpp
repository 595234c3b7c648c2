// The numbers of attributes at their ends, through both levels of a description.

#include <Quorvel/Core/Memory/Info/Mount.h>

#include <Kro/KroModule.h>
#include <Kro/Table.h>

#include <gtest/gtest.h>

#include <cstdint>

namespace {

using Quorvel::Core::Memory::Info::Collection;
using Quorvel::Core::Memory::Info::Mount;

extern Kro::KroModule extremesModule;

/// An entry whose fields have the smallest and the largest number that there is.
struct ExtremeEntry {
   std::uint32_t smallest;
   std::uint32_t largest;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct ExtremeEntry::Declaration {
   static constexpr auto table = Kro::table<ExtremeEntry>(
      Kro::field<-32768, &ExtremeEntry::smallest>("smallest"), Kro::field<32767, &ExtremeEntry::largest>("largest"));
};

constinit Kro::KroType const ExtremeEntry::kroType =
   Kro::entryType<ExtremeEntry, ExtremeEntry::Declaration>("ExtremeEntry", &extremesModule);

/// A type whose collections have these numbers.
struct ExtremeMount {
   struct Declaration;
   static Kro::KroType const kroType;
};

struct ExtremeMount::Declaration {
   static constexpr auto table =
      Kro::table<ExtremeMount>(Kro::entries<-32768, ExtremeEntry>("first"), Kro::entries<32767, ExtremeEntry>("last"));
};

constinit Kro::KroType const ExtremeMount::kroType =
   Kro::entryType<ExtremeMount, ExtremeMount::Declaration>("ExtremeMount", &extremesModule);

constexpr Kro::KroType const* extremes[] = {&ExtremeEntry::kroType, &ExtremeMount::kroType};
constinit Kro::KroModule extremesModule{"Extremes", "core/test/Memory/Info/MountNumbersTest", extremes, {}};
[[maybe_unused]] bool const isRegistered = [] {
   Kro::kroModuleIs(extremesModule);
   return true;
}();

TEST(InfoMount, viewByNumberKeepsTheSignOfEveryNumber)
{
   Mount sut("a", "ExtremeMount");
   for (char const* const name : {"last", "first"}) {
      Collection collection(name);
      collection.addGroup(0, 1);
      for (char const* const field : {"largest", "smallest"}) {
         collection.addNameAttribute(field);
         collection.createChunk(0, field, field, 4, false);
      }
      sut.collectionIs(collection);
   }

   EXPECT_EQ(sut.collectionInternal().begin().key(), -32768);
   EXPECT_EQ(sut.collectionInternal().size(), 2U);
   auto const group = sut.collectionInternal(-32768).group(0);
   EXPECT_EQ(group.chunkInternal().size(), 2U);
   EXPECT_EQ(group.chunkInternal(-32768).name(), "smallest");
   EXPECT_EQ(group.chunkInternal(32767).name(), "largest");
   EXPECT_EQ(sut.collectionInternal(32767).name(), "last");
}

} // namespace
