#include "support/AllocationRecorder.h"

#include <Quorvel/Core/Entifier.h>

#include <Cell/CellId.h>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <regex>
#include <stdexcept>
#include <string>

// What path templates ask of the platform and of memory. A program of its own: it takes the place of libCell.

namespace {

std::uint32_t currentId = 0;
int askedFor = 0;

} // namespace

std::uint32_t Cell::cellId()
{
   ++askedFor;
   if (currentId == 13) {
      throw std::runtime_error("no cell");
   }
   return currentId;
}

namespace {

using Quorvel::Core::Detail::MakerPathMount;
using Quorvel::Core::Test::AllocationRecorder;

/// @return how often the operation asks for memory
template <class Operation>
std::uint64_t allocations(Operation const& operation)
{
   auto const before = AllocationRecorder::instance().allocations();
   operation();
   return AllocationRecorder::instance().allocations() - before;
}

class MakerPathMountCell : public testing::Test {
protected:
   MakerPathMountCell()
   {
      currentId = 0;
      askedFor = 0;
   }
};

TEST_F(MakerPathMountCell, writesTheIdentifierInDecimalDigits)
{
   EXPECT_EQ(MakerPathMount::cellId(), "0");

   currentId = 7;
   EXPECT_EQ(MakerPathMount::cellId(), "7");

   currentId = 2147483648;
   EXPECT_EQ(MakerPathMount::cellId(), "2147483648");

   currentId = 4294967295;
   EXPECT_EQ(MakerPathMount::cellId(), "4294967295");
}

TEST_F(MakerPathMountCell, isAskedForAtEachCall)
{
   currentId = 7;
   EXPECT_EQ(MakerPathMount::cellId(), "7");
   currentId = 8;
   EXPECT_EQ(MakerPathMount::cellId(), "8");

   EXPECT_EQ(askedFor, 2);
}

TEST_F(MakerPathMountCell, isNotAskedForByAnExpansion)
{
   MakerPathMount sut;
   sut.cellIdValue = "3";

   EXPECT_EQ(sut.makePath("%cellId"), "3");

   EXPECT_EQ(askedFor, 0);
}

TEST_F(MakerPathMountCell, passesARefusalOn)
{
   currentId = 13;

   EXPECT_THROW(MakerPathMount::cellId(), std::runtime_error);
}

TEST_F(MakerPathMountCell, needsMemoryForTheResultAloneWhenTheTemplateHasNoPercent)
{
   MakerPathMount sut;
   sut.arg0Value = "x";
   std::string const longer(100, 'a');
   auto const needed = [&](char const* pathTemplate) { return allocations([&] { sut.makePath(pathTemplate); }); };

   EXPECT_EQ(needed("/a/b"), 0u) << "fits into the text itself";
   EXPECT_EQ(needed(longer.c_str()), 1u);
   EXPECT_GT(needed("%"), 0u) << "a pattern";
}

TEST_F(MakerPathMountCell, compilesAPatternAtEachCall)
{
   MakerPathMount sut;
   sut.arg0Value = "x";
   auto const ofPattern = allocations([] { std::regex const pattern("%arg0"); });

   auto const first = allocations([&] { sut.makePath("%arg0"); });
   auto const second = allocations([&] { sut.makePath("%arg0"); });

   EXPECT_GT(ofPattern, 0u);
   EXPECT_GE(first, ofPattern);
   EXPECT_EQ(second, first);
}

TEST(MakerPathMountCellDeathTest, endsTheProcessWhenMemoryIsExhausted)
{
   MakerPathMount sut;
   sut.arg0Value = "x";
   auto const expandWithoutMemory = [&](char const* pathTemplate) {
      AllocationRecorder::instance().failAllocations({.first = 1, .count = AllocationRecorder::allThatFollow});
      sut.makePath(pathTemplate);
   };

   // What the language's run time says of the exception depends on the optimisation.
   EXPECT_EXIT(expandWithoutMemory("%arg0"), testing::KilledBySignal(SIGABRT), "terminate called");
   EXPECT_EXIT(
      expandWithoutMemory(std::string(100, 'a').c_str()), testing::KilledBySignal(SIGABRT), "terminate called");
}

} // namespace
