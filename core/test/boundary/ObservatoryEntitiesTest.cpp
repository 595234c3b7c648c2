// The plugin's entities: made, called, cast and printed by reflection; what they throw is caught here.

#include "boundary/ObservatoryEntities.h"
#include "support/ChangeRecorder.h"
#include "support/MessageOf.h"

#include <Kro/Cast.h>
#include <Kro/Exception.h>
#include <Kro/Slot.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>

namespace {

using Kro::GenericIf;
using Kro::Slot;
using Quorvel::Core::Test::ChangeRecorder;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::ObservatoryEntities;
using Quorvel::Core::Test::Observatory::textOf;
using Quorvel::Core::Test::Observatory::type;
using testing::ElementsAre;

TEST_F(ObservatoryEntities, areMadeByTheNameOfTheirTypeAndPrinted)
{
   auto const sut = make("Instrument", "scope");

   EXPECT_EQ(sut.as<Kro::Entity>().fullName(), "/dome/scope");
   EXPECT_EQ(living(), "1");
   EXPECT_EQ(
      textOf(sut),
      "Observatory::Instrument(exposure=1, label=\"instrument scope\", partner=null, mentor=null, "
      "itself=\"/dome/scope\", last=Observatory::Reading(offset=0, weight=0, flux=0, isValid=false, label=\"\", "
      "count=0, "
      "exposure=0, photons=0, direction=Observatory::Angle(degrees=0, isNorth=true), note=\"\"), lens={}, weight={}, "
      "lastLens=0)");
}

TEST_F(ObservatoryEntities, arePrintedWithWhatTheyInheritFirst)
{
   auto const text = textOf(make("Camera", "cam"));

   EXPECT_THAT(text, testing::StartsWith("Observatory::Camera(exposure=1, label=\"camera cam\", partner=null, "));
   EXPECT_THAT(text, testing::EndsWith(", lastLens=0, pixels=0)"));
}

TEST_F(ObservatoryEntities, areShownByTheirDirectoryWithTheirOwnTypes)
{
   make("Camera", "cam");
   make("Instrument", "scope");

   std::map<std::string, std::string> seen;
   GenericIf::ofNode(*dome).visit(258, [&](GenericIf const& name, GenericIf const& entity) {
      seen[textOf(name)] = entity.type().type->name;
      return true;
   });

   EXPECT_EQ(
      seen, (std::map<std::string, std::string>{
               {"\"cam\"", "Observatory::Camera"}, {"\"scope\"", "Observatory::Instrument"}}));
}

TEST_F(ObservatoryEntities, areMadeOutsideTheTreeFromArguments)
{
   Orvo::String name = "cam";
   std::uint64_t pixels = 1'000'000'000'000;

   auto const made = Slot::make(type("Camera"), std::array{GenericIf::of(name), GenericIf::of(pixels)});
   auto const twin = Slot::make(type("Camera"), std::array{made.genericIf()});

   EXPECT_EQ(textOf(twin.object(), 154), "\"camera-cam-twin\"");
   EXPECT_EQ(textOf(twin.object(), 258), "1000000000000");
   EXPECT_EQ(twin.object().as<Kro::Entity>().useCount(), 1U);
   EXPECT_EQ(living(), "2");
}

TEST_F(ObservatoryEntities, whoseConstructorThrowsAreNotMade)
{
   Orvo::String broken = "broken";

   EXPECT_EQ(messageOf<std::runtime_error>([&] { make("Instrument", "broken"); }), "the instrument is broken");
   EXPECT_EQ(
      messageOf<std::runtime_error>([&] { Slot::make(type("Camera"), std::array{GenericIf::of(broken)}); }),
      "the instrument is broken");
   EXPECT_EQ(dome->entity("broken"), nullptr);
}

TEST_F(ObservatoryEntities, areNotMadeFromOtherArguments)
{
   EXPECT_EQ(
      messageOf<Kro::NewEntityArgsException>([] { Slot::make(type("Camera")); }),
      "an object of type 'Observatory::Camera' cannot be made: it has no constructor that takes (), but one that takes "
      "(text) and one that takes (text, uint64) and one that takes (Orvo::Ptr<Observatory::Camera>)");
   EXPECT_EQ(
      messageOf<Kro::NewEntityArgsException>([&] { make("Lens", "lens"); }),
      "an entity of type 'Observatory::Lens' named 'lens' cannot be made: the type cannot be made from a name");
   EXPECT_EQ(
      messageOf<Kro::EntityNotFoundException>([] {
         Slot const null({&type("Camera"), Kro::Form::ptr});
         Slot::make(type("Camera"), std::array{null.genericIf()});
      }),
      "a twin needs another camera");
}

TEST_F(ObservatoryEntities, areReadWrittenAndRefusedByNumber)
{
   auto const sut = make("Instrument", "scope");
   std::uint32_t exposure = 7;
   Orvo::String label = "other";

   EXPECT_EQ(sut.set(258, GenericIf::of(exposure)), Kro::success);
   EXPECT_EQ(textOf(sut, 258), "7");
   EXPECT_EQ(sut.set(259, GenericIf::of(label)), Kro::notAllowed);
   EXPECT_EQ(sut.set(273, GenericIf::of(exposure)), Kro::notAllowed);
   EXPECT_EQ(sut.set(999, GenericIf::of(exposure)), Kro::noSuchAttribute);
   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { sut.set(258, GenericIf::of(label)); }),
      "a slot of type 'text' cannot be used as 'uint32'");
   EXPECT_EQ(textOf(sut, 258), "7");
}

TEST_F(ObservatoryEntities, keepWhomACountedPointerNames)
{
   auto const sut = make("Instrument", "scope");
   auto const before = dome->useCount();
   auto const partner = Slot::pointerTo(Kro::Entity::kroType, dome.get());

   EXPECT_EQ(sut.set(260, partner.genericIf()), Kro::success);

   EXPECT_EQ(dome->useCount(), before + 2); // the slot's and the instrument's
   Slot const none({&Kro::Entity::kroType, Kro::Form::ptr});
   sut.set(260, none.genericIf());
   EXPECT_EQ(dome->useCount(), before + 1);
}

TEST_F(ObservatoryEntities, shareRawPointersToEachOther)
{
   auto const sut = make("Instrument", "scope");
   auto const other = make("Camera", "cam");
   Slot const pointer({&type("Instrument"), Kro::Form::raw});

   EXPECT_EQ(other.get(262, pointer.genericIf()), Kro::success);
   EXPECT_EQ(sut.set(261, pointer.genericIf()), Kro::success);
   Slot const mentor({&type("Instrument"), Kro::Form::raw});
   EXPECT_EQ(sut.get(261, mentor.genericIf()), Kro::success);

   EXPECT_TRUE(mentor.genericIf().pointee().isEqual(other));
   EXPECT_EQ(mentor.genericIf().pointee().type().type, &type("Camera"));
}

TEST_F(ObservatoryEntities, callTheOverrideOfTheDerivedType)
{
   auto const sut = make("Camera", "cam");

   EXPECT_EQ(textOf(sut, 259), "\"camera cam\"");
   EXPECT_EQ(textOf(sut, 154), "\"camera-cam\"");
   EXPECT_EQ(textOf(sut, 258), "0");
}

TEST_F(ObservatoryEntities, takeTheOverloadOfTheArguments)
{
   auto const sut = make("Instrument", "scope");
   std::uint32_t six = 6;
   std::uint32_t four = 4;
   std::uint32_t result = 0;
   std::int32_t other = 1;

   EXPECT_EQ(sut.call(269, std::array{GenericIf::of(six)}), Kro::success);
   EXPECT_EQ(textOf(sut, 258), "6");
   EXPECT_EQ(sut.call(269, std::array{GenericIf::of(six), GenericIf::of(four)}, GenericIf::of(result)), Kro::success);
   EXPECT_EQ(result, 9U);
   EXPECT_EQ(sut.call(269), Kro::notAllowed);
   EXPECT_EQ(sut.call(269, std::array{GenericIf::of(other)}), Kro::notAllowed);
   EXPECT_EQ(sut.call(267, std::array{GenericIf::of(six), GenericIf::of(four)}, GenericIf::of(result)), Kro::success);
   EXPECT_EQ(result, 19U);
}

TEST_F(ObservatoryEntities, canBeCountedWithoutOne)
{
   EXPECT_EQ(living(), "0");
   make("Instrument", "a");
   make("Camera", "b");
   EXPECT_EQ(living(), "2");
   std::uint32_t unused = 0;
   EXPECT_EQ(type("Instrument").genericIf().get(258, GenericIf::of(unused)), Kro::notAllowed);
}

TEST_F(ObservatoryEntities, throwTheFrameworksExceptionsAndTheirOwn)
{
   auto const sut = make("Instrument", "scope");
   Orvo::String text = "too far";

   EXPECT_EQ(messageOf<Kro::RangeException>([&] { sut.call(270, std::array{GenericIf::of(text)}); }), "too far");
   try {
      sut.call(271, std::array{GenericIf::of(text)});
      FAIL() << "nothing was thrown";
   } catch (Kro::Exception const& error) {
      EXPECT_STREQ(error.what(), "too far");
   }
}

TEST_F(ObservatoryEntities, areCastToWhatTheyInherit)
{
   auto const camera = make("Camera", "cam");
   auto& node = camera.as<Kro::Entity>();

   EXPECT_NE(Kro::polymorphicCast(type("Camera"), node, type("Instrument")), nullptr);
   EXPECT_EQ(Kro::polymorphicCast(type("Camera"), node, Kro::Entity::kroType), &node);
   auto const pointer = Slot::pointerTo(type("Instrument"), &node);
   EXPECT_EQ(pointer.object().type().type, &type("Camera"));
}

TEST_F(ObservatoryEntities, areNotCastToUnrelatedTypes)
{
   auto const instrument = make("Instrument", "scope");
   auto& node = instrument.as<Kro::Entity>();

   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { instrument.as<Kro::Dir>(); }),
      "a slot of type 'Observatory::Instrument' cannot be used as 'Kro::Dir'");
   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { Kro::polymorphicCast(type("Instrument"), node, type("Camera")); }),
      "a slot of type 'Observatory::Instrument' cannot be used as 'Observatory::Camera'");
   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { Slot::pointerTo(type("Camera"), &node); }),
      "a slot of type 'Observatory::Instrument' cannot be used as 'Observatory::Camera'");
}

TEST_F(ObservatoryEntities, publishThroughTheTreeWhenTheyComeAndGo)
{
   ChangeRecorder const root(*Kro::globalDir()->publisher());

   make("Camera", "cam");
   dome->deleteEntity("cam");

   EXPECT_THAT(root.changes(), ElementsAre("entity(258) cam", "entity(258) cam"));
}

} // namespace
