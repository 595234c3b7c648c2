// What the plugin's types say of themselves: every kind of attribute, every leaf type, inheritance.

#include "boundary/Observatory.h"
#include "support/ReflectedType.h"

#include <Kro/Dir.h>
#include <Kro/Exception.h>
#include <Kro/Slot.h>
#include <Quorvel/Core/Memory/Control/Collection.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace {

using Kro::GenericIf;
using Kro::Slot;
using Quorvel::Core::Test::attributesOf;
using Quorvel::Core::Test::constructorsOf;
using Quorvel::Core::Test::numbersNotRefused;
using Quorvel::Core::Test::typesOf;
using Quorvel::Core::Test::Observatory::module;
using Quorvel::Core::Test::Observatory::type;
using testing::ElementsAre;
using testing::IsEmpty;

/// An entity named "sample", which its slot keeps.
Slot sampleOf(char const* name)
{
   Orvo::String sample = "sample";
   return Slot::make(type(name), std::array{GenericIf::of(sample)});
}

TEST(ObservatoryTypes, areListedByTheirModule)
{
   EXPECT_THAT(
      typesOf(module()), ElementsAre(
                            "Observatory::Angle", "Observatory::Reading", "Observatory::Night", "Observatory::Lens",
                            "Observatory::Instrument", "Observatory::Camera", "Observatory::Journal",
                            "Observatory::FrameEntry", "Observatory::StatusEntry", "Observatory::Readout"));
   EXPECT_EQ(module().source, "core/test/boundary/observatory");
   EXPECT_THAT(
      module().refersTo, ElementsAre(&Kro::Entity::kroType, &Quorvel::Core::Memory::Control::Collection::kroType));
}

TEST(ObservatoryTypes, haveIndicesOfTheirOwnOneAfterTheOther)
{
   for (std::size_t i = 0; i < module().types.size(); ++i) {
      EXPECT_EQ(module().types[i]->index(), module().firstIndex + i);
      EXPECT_EQ(module().types[i]->module, &module());
   }
}

TEST(ObservatoryTypes, ofValuesDeclareEveryLeafTypeUnderNumbersFromLowestToHighest)
{
   EXPECT_THAT(
      attributesOf(Slot::make(type("Reading")).genericIf()),
      ElementsAre(
         "-32768 offset: value int16 [get set]", "-1 weight: value int32 [get set]", "0 flux: value int64 [get set]",
         "1 isValid: value bool [get set]", "2 label: value text [get set]", "130 count: value uint16 [get set]",
         "131 exposure: value uint32 [get set]", "5000 photons: value uint64 [get set]",
         "5001 direction: value Observatory::Angle [get set]", "32767 note: value text, not compared [get set]"));
}

TEST(ObservatoryTypes, ofValuesDeclareCollectionsGettersAndReactors)
{
   EXPECT_THAT(
      attributesOf(Slot::make(type("Night")).genericIf()),
      ElementsAre(
         "2 reading: collection int32 -> Observatory::Reading, ordered; is(int32, Observatory::Reading) "
         "del(int32) -> Observatory::Reading delAll() []",
         "3 place: collection text -> Observatory::Angle, hash; is(text, Observatory::Angle) del(text) -> bool []",
         "4 observer: collection of text, hash; is(text) -> bool []", "5 title: value text [get]",
         "6 changes: value uint32, not compared [get]", "7 handleReading: reactor(int32) []"));
}

TEST(ObservatoryTypes, ofEntitiesDeclareEveryKind)
{
   EXPECT_THAT(
      attributesOf(sampleOf("Instrument").object()),
      ElementsAre(
         "258 exposure: value uint32 [get set]", "259 label: value text [get]",
         "260 partner: value Ptr<Kro::Entity> [get set]", "261 mentor: value Observatory::Instrument* [get set]",
         "262 itself: value Observatory::Instrument* [get]", "263 last: value Observatory::Reading [get set]",
         "264 lens: collection uint32 -> Observatory::Lens*, ordered; is(uint32, int64) -> Ptr<Observatory::Lens> "
         "del(uint32) -> Ptr<Observatory::Lens> delAll() []",
         "265 weight: collection Kro::Entity* -> uint32, hash; is(Kro::Entity*, uint32) del(Kro::Entity*) -> bool []",
         "266 total: computed() -> uint32 [get]", "267 sum: computed(uint32, uint32) -> uint32 []",
         "268 living: static() -> uint32 [get]", "269 scale: operation(uint32)(uint32, uint32) -> uint32 []",
         "270 fail: operation(text) []", "271 failAsItself: operation(text) []", "272 handleLens: reactor(uint32) []",
         "273 lastLens: value uint32 [get]"));
}

TEST(ObservatoryTypes, ofNodesAndSingletonsDeclareTheirs)
{
   std::uint32_t id = 1;
   std::int64_t focus = 2;

   EXPECT_THAT(
      attributesOf(Slot::make(type("Lens"), std::array{GenericIf::of(id), GenericIf::of(focus)}).object()),
      ElementsAre(
         "-2 id: value uint32, given to the constructor [get]",
         "130 focus: value int64, given to the constructor [get set]"));
   EXPECT_THAT(
      attributesOf(sampleOf("Journal").object()),
      ElementsAre(
         "258 line: collection text -> uint32, hash; is(text, uint32) del(text) []",
         "259 instance: static() -> Ptr<Observatory::Journal> [get]", "260 handleLine: reactor(text) []",
         "261 changes: value uint32 [get]"));
}

TEST(ObservatoryTypes, thatAreMountedDeclareEntriesAndTheirLiveCollections)
{
   EXPECT_THAT(
      attributesOf(sampleOf("Readout").object()),
      ElementsAre(
         "1 frame: collection uint32 -> Observatory::FrameEntry, ordered; []",
         "2 status: collection uint32 -> Observatory::StatusEntry, ordered; []",
         "3 frameControl: value Ptr<Memory::Control::Collection> [get]",
         "4 statusControl: value Ptr<Memory::Control::Collection> [get]", "5 synchronized: value uint32 [get]"));
   EXPECT_EQ(type("FrameEntry").attr("exposure").size, 8U);
   EXPECT_EQ(type("FrameEntry").attr("exposure").type, Kro::typeRefOf<std::uint64_t>());
   EXPECT_EQ(type("FrameEntry").attr("pixels").size, 56U);
   EXPECT_EQ(type("FrameEntry").attr("pixels").type.type, &Kro::Leaf::bytes);
}

TEST(ObservatoryTypes, refuseEveryOtherNumber)
{
   EXPECT_THAT(numbersNotRefused(Slot::make(type("Reading")).genericIf()), IsEmpty());
   EXPECT_THAT(numbersNotRefused(Slot::make(type("Night")).genericIf()), IsEmpty());
   EXPECT_THAT(numbersNotRefused(sampleOf("Instrument").object()), IsEmpty());
   EXPECT_THAT(numbersNotRefused(sampleOf("Camera").object()), IsEmpty());
}

TEST(ObservatoryTypes, giveEveryReadableAttributeToASlotOfItsTypeAndToNoOther)
{
   std::array const samples{
      Slot::make(type("Reading")), Slot::make(type("Night")), sampleOf("Camera"), sampleOf("Journal"),
      sampleOf("Readout")};
   Slot const other({&type("Night"), Kro::Form::plain});
   std::size_t count = 0;

   for (auto const& sample : samples) {
      auto const object = sample.object();
      for (auto const* declared = object.type().type; declared != nullptr; declared = declared->base) {
         for (auto const& attr : declared->attrs) {
            if (
               attr.get == nullptr ||
               static_cast<Kro::KroType const*>(object.type().type)->findAttr(attr.number) != &attr) {
               continue; // not like a value, or hidden by an own one
            }
            ++count;
            EXPECT_EQ(object.get(attr.number, Slot(attr.type).genericIf()), Kro::success) << attr.name;
            EXPECT_THROW(object.get(attr.number, other.genericIf()), Kro::TypeException) << attr.name;
         }
      }
   }
   EXPECT_EQ(count, 10U + 2 + 10 + 3 + 4);
}

TEST(ObservatoryTypes, sayHowTheyAreConstructed)
{
   EXPECT_THAT(constructorsOf(type("Angle")), ElementsAre("(int32, bool) -> Observatory::Angle"));
   EXPECT_THAT(
      constructorsOf(type("Reading")),
      ElementsAre("() -> Observatory::Reading", "(text, Observatory::Angle) -> Observatory::Reading"));
   EXPECT_THAT(constructorsOf(type("Lens")), ElementsAre("(uint32, int64) -> Ptr<Observatory::Lens>"));
   EXPECT_THAT(constructorsOf(type("Instrument")), ElementsAre("(text) -> Ptr<Observatory::Instrument>"));
   EXPECT_THAT(
      constructorsOf(type("Camera")),
      ElementsAre(
         "(text) -> Ptr<Observatory::Camera>", "(text, uint64) -> Ptr<Observatory::Camera>",
         "(Ptr<Observatory::Camera>) -> Ptr<Observatory::Camera>"));
   EXPECT_THAT(constructorsOf(type("FrameEntry")), IsEmpty());
}

TEST(ObservatoryTypes, inheritAcrossTheBorderAndInsideThePlugin)
{
   EXPECT_TRUE(type("Camera").isA(type("Instrument")));
   EXPECT_TRUE(type("Camera").isA(Kro::Entity::kroType));
   EXPECT_FALSE(type("Instrument").isA(type("Camera")));
   EXPECT_FALSE(type("Camera").isA(Kro::Dir::kroType));
   EXPECT_FALSE(type("Lens").isA(Kro::Entity::kroType));
}

TEST(ObservatoryTypes, findOwnNumbersAndNamesBeforeInheritedOnes)
{
   auto const& camera = type("Camera");

   EXPECT_EQ(camera.findAttr(258)->name, "pixels");
   EXPECT_EQ(&camera.attr("exposure"), &type("Instrument").attr("exposure"));
   EXPECT_EQ(camera.findAttr(259), &type("Instrument").attr("label"));
   EXPECT_NE(&camera.attr("nameString"), &Kro::Entity::kroType.attr("nameString"));
   EXPECT_EQ(&type("Instrument").attr("nameString"), &Kro::Entity::kroType.attr("nameString"));
}

} // namespace
