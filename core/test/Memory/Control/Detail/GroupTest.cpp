#include <Quorvel/Core/Memory/Control/Detail/Group.h>

#include <Orvo/Ptr.h>

#include <gtest/gtest.h>

#include <cstdint>

namespace {

using Quorvel::Core::Memory::Control::Detail::Group;

Orvo::Ptr<Group> groupOf(std::uint32_t id, std::uint32_t head, std::uint32_t size)
{
   return Orvo::make<Group>(id, head, size);
}

TEST(ControlGroup, takesIdHeadAndSizeInThisOrderWithoutChecks)
{
   auto const sut = groupOf(1, 4294967290U, 4294967295U);
   auto const empty = groupOf(0, 0, 0);

   EXPECT_EQ(sut->id(), 1U);
   EXPECT_EQ(sut->head(), 4294967290U);
   EXPECT_EQ(sut->size(), 4294967295U);
   EXPECT_EQ(empty->size(), 0U);
   EXPECT_EQ(sut->useCount(), 1U);
}

TEST(ControlGroup, knowsItsType)
{
   auto const sut = groupOf(1, 2, 3);

   EXPECT_EQ(&sut->typeData(), &Group::kroType);
   EXPECT_EQ(&sut->fwkType(), &Group::kroType);
}

TEST(ControlGroup, comesFromTheSlabAndIsTracked)
{
   auto const& tracker = Group::memAllocationTracker_;
   auto const before = tracker.liveCount();
   {
      auto const sut = groupOf(1, 2, 3);
      auto const other = sut;
      EXPECT_EQ(tracker.liveCount(), before + 1);
   }
   EXPECT_EQ(tracker.liveCount(), before);
}

} // namespace
