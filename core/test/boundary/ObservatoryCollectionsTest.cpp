// The collections of the plugin's entities, by reflection: nodes that are their own elements, and entities as keys.

#include "boundary/ObservatoryEntities.h"
#include "support/MessageOf.h"

#include <Kro/Exception.h>
#include <Kro/Slot.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <map>
#include <string>

namespace {

using Kro::GenericIf;
using Kro::Slot;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::ObservatoryEntities;
using Quorvel::Core::Test::Observatory::elementsOf;
using Quorvel::Core::Test::Observatory::textOf;
using Quorvel::Core::Test::Observatory::type;
using testing::ElementsAre;
using testing::IsEmpty;

class ObservatoryLenses : public ObservatoryEntities {
protected:
   void lensIs(std::uint32_t id, std::int64_t focus)
   {
      EXPECT_EQ(sut.collectionIs(264, std::array{GenericIf::of(id), GenericIf::of(focus)}), Kro::success);
   }

   GenericIf const sut = make("Instrument", "scope");
};

TEST_F(ObservatoryLenses, areWalkedAsTheNodesThatTheyAre)
{
   lensIs(4'000'000'000, 1);
   lensIs(2, -50);

   EXPECT_THAT(
      elementsOf(sut, 264),
      ElementsAre("2=Observatory::Lens(id=2, focus=-50)", "4000000000=Observatory::Lens(id=4000000000, focus=1)"));
   EXPECT_EQ(textOf(sut, 273), "2");
}

TEST_F(ObservatoryLenses, areHandedBackWhenTheyAreRemoved)
{
   lensIs(1, 10);
   std::uint32_t id = 1;
   Slot const removed({&type("Lens"), Kro::Form::ptr});

   EXPECT_EQ(sut.collectionDel(264, std::array{GenericIf::of(id)}, removed.genericIf()), Kro::success);

   EXPECT_EQ(textOf(removed.object()), "Observatory::Lens(id=1, focus=10)");
   EXPECT_THAT(elementsOf(sut, 264), IsEmpty());
   EXPECT_EQ(sut.collectionDel(264, std::array{GenericIf::of(id)}, removed.genericIf()), Kro::success);
   EXPECT_EQ(removed.object().voidPtr(), nullptr);
}

TEST_F(ObservatoryLenses, ofOneNumberAreRefusedInTheWordsOfTheFramework)
{
   lensIs(1, 10);
   std::uint32_t id = 1;
   std::int64_t focus = 11;

   EXPECT_EQ(
      messageOf<Kro::ReinstantiatingException>([&] {
         sut.collectionIs(264, std::array{GenericIf::of(id), GenericIf::of(focus)});
      }),
      "core/test/boundary/observatory 'scope': lens=1 is asked for, but lens=1 exists");
   EXPECT_THAT(elementsOf(sut, 264), ElementsAre("1=Observatory::Lens(id=1, focus=10)"));
}

TEST_F(ObservatoryLenses, canBeFoundAndEmptied)
{
   lensIs(1, 10);
   std::uint32_t id = 1;
   std::string found;

   sut.find(264, GenericIf::of(id), [&](GenericIf const& lens) { found = textOf(lens, 130); });
   EXPECT_EQ(found, "10");
   EXPECT_EQ(sut.collectionDelAll(264), Kro::success);
   EXPECT_THAT(elementsOf(sut, 264), IsEmpty());
}

class ObservatoryWeights : public ObservatoryEntities {
protected:
   void weightIs(GenericIf const& entity, std::uint32_t weight)
   {
      auto* key = &entity.as<Kro::Entity>();
      EXPECT_EQ(sut.collectionIs(265, std::array{GenericIf::of(key), GenericIf::of(weight)}), Kro::success);
   }

   GenericIf const sut = make("Instrument", "scope");
   GenericIf const cam = make("Camera", "cam");
};

TEST_F(ObservatoryWeights, areKeptUnderTheEntitiesThemselves)
{
   weightIs(cam, 5);
   weightIs(sut, 7);
   weightIs(cam, 6);

   EXPECT_EQ(textOf(sut, 266), "13");
   std::map<Kro::Entity*, std::uint32_t> seen;
   sut.visit(265, [&](GenericIf const& key, GenericIf const& weight) {
      seen[&key.as<Kro::Entity>()] = weight.as<std::uint32_t>();
      return true;
   });
   EXPECT_EQ(seen, (std::map<Kro::Entity*, std::uint32_t>{{&cam.as<Kro::Entity>(), 6}, {&sut.as<Kro::Entity>(), 7}}));
}

TEST_F(ObservatoryWeights, ofKeysShowTheKeysOwnType)
{
   weightIs(cam, 5);

   sut.visit(265, [&](GenericIf const& key, GenericIf const&) {
      EXPECT_EQ(key.type().type, &type("Camera"));
      return true;
   });
   EXPECT_THAT(textOf(sut), testing::HasSubstr(", weight={\"/dome/cam\"=5}, "));
}

TEST_F(ObservatoryWeights, areFoundAndRemovedByTheirEntity)
{
   weightIs(cam, 5);
   auto* key = &cam.as<Kro::Entity>();
   std::string found;
   bool isRemoved = false;

   sut.find(265, GenericIf::of(key), [&](GenericIf const& weight) { found = textOf(weight); });
   EXPECT_EQ(found, "5");
   EXPECT_EQ(sut.collectionDel(265, std::array{GenericIf::of(key)}, GenericIf::of(isRemoved)), Kro::success);
   EXPECT_TRUE(isRemoved);
   EXPECT_EQ(textOf(sut, 266), "0");
}

TEST_F(ObservatoryWeights, ofNobodyAreRefusedInTheWordsOfTheFramework)
{
   Kro::Entity* nobody = nullptr;
   std::uint32_t weight = 1;

   EXPECT_EQ(
      messageOf<Kro::ArgNullPointerException>([&] {
         sut.collectionIs(265, std::array{GenericIf::of(nobody), GenericIf::of(weight)});
      }),
      "core/test/boundary/observatory: weight cannot be null");
}

} // namespace
