// An index whose memory is refused: it answers as before, or as after the change, never otherwise.

#include "support/RefusedAllocation.h"

#include <Quorvel/Core/Memory/Control/Detail/ExtentIndex.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <utility>

namespace {

using Quorvel::Core::Memory::Control::Detail::Chunk;
using Quorvel::Core::Memory::Control::Detail::Extent;
using Quorvel::Core::Memory::Control::Detail::ExtentIndex;
using Quorvel::Core::Test::AllocationRecorder;
using Quorvel::Core::Test::Refusal;
using Quorvel::Core::Test::refuseAllocations;

/// An address that is never looked behind.
Chunk* chunk(std::size_t number)
{
   static std::array<std::byte, 65536> addresses;
   return reinterpret_cast<Chunk*>(&addresses.at(number));
}

/// An index, and a map that holds what the index should.
class Pair {
public:
   using Failures = AllocationRecorder::Failures;

   /// @return how the insertion ended, with those of its allocations refused
   Refusal insert(Extent const& extent, Failures const& failures = {})
   {
      bool isAdded = false;
      auto const refusal = refuseAllocations(failures, [&] { isAdded = index.insert(extent); });
      if (refusal != Refusal::passed) {
         EXPECT_EQ(isAdded, isFree(extent)) << extent.begin;
         if (isFree(extent)) {
            model.emplace(extent.begin, extent);
         }
      }
      return refusal;
   }

   Refusal erase(std::uint32_t begin, Failures const& failures = {})
   {
      auto const refusal = refuseAllocations(failures, [&] { index.erase(begin); });
      model.erase(begin);
      return refusal;
   }

   void expectAgreement(std::uint32_t begin, std::uint32_t end) const
   {
      for (auto entry = begin; entry != end; ++entry) {
         auto const after = model.upper_bound(entry);
         bool const isHeld = after != model.begin() && entry < std::prev(after)->second.end;
         auto const next = isHeld ? std::prev(after) : after;
         auto const* found = index.find(entry);
         auto const* foundNext = index.findNext(entry);
         ASSERT_EQ(found != nullptr, isHeld) << entry;
         ASSERT_EQ(foundNext != nullptr, next != model.end()) << entry;
         if (isHeld) {
            ASSERT_EQ(found->chunk, next->second.chunk) << entry;
            ASSERT_EQ(found->begin, next->second.begin) << entry;
         }
         if (foundNext != nullptr) {
            ASSERT_EQ(foundNext->begin, next->second.begin) << entry;
            ASSERT_EQ(foundNext->chunk, next->second.chunk) << entry;
         }
      }
   }

   ExtentIndex index;

private:
   bool isFree(Extent const& extent) const
   {
      auto const next = model.lower_bound(extent.begin);
      return (next == model.end() || extent.end <= next->second.begin) &&
             (next == model.begin() || std::prev(next)->second.end <= extent.begin);
   }

   std::map<std::uint32_t, Extent> model;
};

/// Inserts `count` extents of four entries, the i-th where `placeOf` says, each first with every one of its allocations
/// refused in turn.
/// @return how many insertions ended with a refusal, and how many bore one
std::pair<unsigned, unsigned>
insertThroughRefusals(std::uint32_t count, std::function<std::uint32_t(std::uint32_t)> const& placeOf)
{
   Pair sut;
   unsigned passed = 0;
   unsigned borne = 0;
   for (std::uint32_t i = 0; i < count && !testing::Test::HasFatalFailure(); ++i) {
      auto const begin = placeOf(i);
      auto refusal = Refusal::passed;
      for (std::uint64_t nth = 1; refusal == Refusal::passed; ++nth) {
         SCOPED_TRACE("extent " + std::to_string(i) + ", allocation " + std::to_string(nth));
         refusal = sut.insert({begin, begin + 4, chunk(i)}, {.first = nth});
         passed += refusal == Refusal::passed ? 1U : 0U;
         borne += refusal == Refusal::borne ? 1U : 0U;
         sut.expectAgreement(0, count * 8 + 8);
      }
   }
   return {passed, borne};
}

TEST(ExtentIndexFailure, insertInOrderThatIsRefusedChangesNothing)
{
   auto const [passed, borne] = insertThroughRefusals(70, [](std::uint32_t i) { return i * 4; });

   // The array, each time it grows.
   EXPECT_GE(passed, 7U);
   EXPECT_EQ(borne, 0U);
}

TEST(ExtentIndexFailure, insertInOrderOfExtentsFarApartThatIsRefusedChangesNothing)
{
   auto const [passed, borne] = insertThroughRefusals(70, [](std::uint32_t i) { return i * 4 + i * i / 20; });

   // The array and the buckets, each time they grow.
   EXPECT_GE(passed, 14U);
   EXPECT_EQ(borne, 0U);
}

TEST(ExtentIndexFailure, insertInOtherOrdersThatIsRefusedIsThereOrNotAndAMergeCanWait)
{
   auto const [passed, borne] = insertThroughRefusals(70, [](std::uint32_t i) { return (69 - i) * 4; });
   EXPECT_GE(passed, 4U);
   EXPECT_GE(borne, 1U);

   auto const [passedMixed, borneMixed] = insertThroughRefusals(71, [](std::uint32_t i) { return i * 37 % 71 * 8; });
   EXPECT_GE(passedMixed, 4U);
   EXPECT_GE(borneMixed, 1U);
}

TEST(ExtentIndexFailure, mergeThatIsRefusedAtEachPointWaitsForTheNextInsertion)
{
   unsigned borne = 0;
   for (std::uint64_t nth = 1; nth <= 4; ++nth) {
      SCOPED_TRACE(nth);
      Pair sut;
      sut.insert({1000, 1004, chunk(0)});
      for (std::uint32_t i = 1; i <= 8; ++i) {
         sut.insert({1000 - i * 100, 1004 - i * 100, chunk(i)});
      }

      borne += sut.insert({50, 54, chunk(9)}, {.first = nth}) == Refusal::borne ? 1U : 0U;

      sut.expectAgreement(0, 1100);
      sut.insert({20, 24, chunk(10)});
      sut.insert({2000, 2004, chunk(11)});
      sut.expectAgreement(0, 2100);
      sut.erase(50);
      sut.erase(1000);
      sut.expectAgreement(0, 2100);
   }
   EXPECT_GE(borne, 2U);
}

TEST(ExtentIndexFailure, eraseIsDoneWhateverIsRefused)
{
   Pair sut;
   for (std::uint32_t i = 0; i < 40; ++i) {
      sut.insert({i * 8, i * 8 + 4, chunk(i)});
   }
   unsigned borne = 0;

   for (std::uint32_t i = 0; i < 40; ++i) {
      borne += sut.erase(i * 37 % 40 * 8, {.first = 1}) == Refusal::borne ? 1U : 0U;
      sut.expectAgreement(0, 330);
   }

   EXPECT_GT(borne, 0U);
   sut.insert({4, 320, chunk(1)});
   sut.expectAgreement(0, 330);
}

TEST(ExtentIndexFailure, lookUpsAllocateNothing)
{
   Pair sut;
   for (std::uint32_t i = 0; i < 100; ++i) {
      sut.insert({i * 37 % 100 * 8, i * 37 % 100 * 8 + 4, chunk(i)});
   }
   auto const before = AllocationRecorder::instance().allocations();

   std::uint32_t found = 0;
   for (std::uint32_t entry = 0; entry < 1000; ++entry) {
      found += sut.index.find(entry) != nullptr ? 1U : 0U;
      found += sut.index.findNext(entry) != nullptr ? 1U : 0U;
   }

   EXPECT_EQ(found, 400U + 796U);
   EXPECT_EQ(AllocationRecorder::instance().allocations(), before);
}

TEST(ExtentIndexFailure, agreesWithAMapThroughRandomChangesAnyOfWhoseAllocationsMayBeRefused)
{
   unsigned passed = 0;
   unsigned borne = 0;
   for (unsigned seed = 0; seed < 80 && !testing::Test::HasFatalFailure(); ++seed) {
      SCOPED_TRACE("seed " + std::to_string(seed));
      std::mt19937 random(seed);
      auto const range = static_cast<std::uint32_t>(64U << random() % 4);
      bool const isAscending = seed % 2 == 0;
      bool const isRegular = seed % 3 == 0;
      std::uint32_t end = 0;
      Pair sut;
      for (std::size_t step = 0; step < 300; ++step) {
         bool const isBehind = isAscending && random() % 3 != 0;
         auto const place = static_cast<std::uint32_t>(random() % range);
         auto const begin = isBehind ? end : isRegular ? place / 4 * 4 : place;
         auto const size = isRegular ? 4 : 1 + static_cast<std::uint32_t>(random() % 6);
         AllocationRecorder::Failures const failures{.first = random() % 4, .count = 1 + random() % 2};
         auto const refusal =
            random() % 3 == 0 ? sut.erase(begin, failures) : sut.insert({begin, begin + size, chunk(step)}, failures);
         end = std::max(end, begin + size);
         passed += refusal == Refusal::passed ? 1U : 0U;
         borne += refusal == Refusal::borne ? 1U : 0U;
         sut.expectAgreement(0, 600);
      }
   }
   EXPECT_GT(passed, 400U);
   EXPECT_GT(borne, 50U);
}

} // namespace
