// The plugin's singleton, found by name, and what it publishes.

#include "boundary/Observatory.h"
#include "support/ChangeRecorder.h"
#include "support/MessageOf.h"

#include <Kro/Entity.h>
#include <Kro/Exception.h>
#include <Kro/Slot.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using Kro::GenericIf;
using Kro::Slot;
using Quorvel::Core::Test::ChangeRecorder;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::Observatory::elementsOf;
using Quorvel::Core::Test::Observatory::module;
using Quorvel::Core::Test::Observatory::textOf;
using Quorvel::Core::Test::Observatory::type;
using testing::ElementsAre;
using testing::IsEmpty;

class ObservatoryJournal : public testing::Test {
protected:
   static Orvo::Ptr<Kro::Entity> singleton(int flags)
   {
      return Kro::Entity::singletonIs(module(), flags, type("Journal").name);
   }

   void lineIs(Orvo::String text, std::uint32_t number)
   {
      EXPECT_EQ(sut.collectionIs(258, std::array{GenericIf::of(text), GenericIf::of(number)}), Kro::success);
   }

   void lineDel(Orvo::String text)
   {
      EXPECT_EQ(sut.collectionDel(258, std::array{GenericIf::of(text)}, GenericIf(Kro::TypeRef{})), Kro::success);
   }

   Orvo::Ptr<Kro::Entity> journal = singleton(1);
   GenericIf const sut = GenericIf::ofNode(*journal);
};

TEST_F(ObservatoryJournal, isOneForTheProgramAndThePlugin)
{
   Slot const instance({&type("Journal"), Kro::Form::ptr});

   EXPECT_EQ(type("Journal").genericIf().get(259, instance.genericIf()), Kro::success);

   EXPECT_TRUE(instance.object().isEqual(sut));
   EXPECT_EQ(singleton(0), journal);
   EXPECT_EQ(Kro::Entity::singleton("Observatory::Journal"), journal);
}

TEST_F(ObservatoryJournal, livesAsLongAsItsUsers)
{
   lineIs("first", 1);

   journal.reset();
   EXPECT_EQ(singleton(0), nullptr);

   journal = singleton(1);
   EXPECT_THAT(elementsOf(GenericIf::ofNode(*journal), 258), IsEmpty());
}

TEST_F(ObservatoryJournal, publishesEachChangeOfItsLines)
{
   ChangeRecorder const recorder(*journal->publisher());

   lineIs("first", 1);
   lineIs("first", 2);
   lineDel("unknown");
   lineDel("first");

   EXPECT_THAT(recorder.changes(), ElementsAre("line(258) first", "line(258) first", "line(258) first"));
   EXPECT_EQ(textOf(sut, 261), "3");
}

TEST_F(ObservatoryJournal, isChangedWhenItsSubscriberHearsOfIt)
{
   ChangeRecorder recorder(*journal->publisher());
   std::vector<std::string> seen;
   recorder.thenDo([&](Orvo::Change const& change) {
      EXPECT_EQ(change.entity, journal.get());
      seen = elementsOf(sut, change.attribute);
   });

   lineIs("first", 1);

   EXPECT_THAT(seen, ElementsAre("\"first\"=1"));
}

TEST_F(ObservatoryJournal, letsWhatASubscriberThrowsThrough)
{
   ChangeRecorder recorder(*journal->publisher());
   recorder.thenDo([](Orvo::Change const&) { throw Kro::RangeException("no more lines"); });
   Orvo::String text = "first";
   std::uint32_t number = 1;

   EXPECT_EQ(
      messageOf<Kro::RangeException>([&] {
         sut.collectionIs(258, std::array{GenericIf::of(text), GenericIf::of(number)});
      }),
      "no more lines");
   EXPECT_THAT(elementsOf(sut, 258), ElementsAre("\"first\"=1"));
}

} // namespace
