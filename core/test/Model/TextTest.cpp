#include "support/ChildProcess.h"
#include "support/MessageOf.h"

#include <Quorvel/Core/Loader.h>
#include <Quorvel/Core/Memory/Info/Mount.h>

#include <Kro/CharRange.h>
#include <Kro/Exception.h>
#include <Kro/Slot.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstddef>
#include <random>
#include <sstream>
#include <string>

namespace {

namespace Info = Quorvel::Core::Memory::Info;

using Info::Detail::Chunk;
using Kro::Slot;
using Quorvel::Core::Loader::Pimpl;
using Quorvel::Core::Test::inChild;
using Quorvel::Core::Test::messageOf;
using testing::EndsWith;

constexpr int aborted = 256 + SIGABRT;

Chunk chunkOf(Orvo::String const& nameAttribute, Orvo::String const& name, std::uint32_t size, bool isIncapableDma)
{
   Chunk chunk;
   chunk.nameAttributeIs(nameAttribute);
   chunk.nameIs(name);
   chunk.sizeIs(size);
   chunk.isIncapableDmaIs(isIncapableDma);
   return chunk;
}

template <class Value>
std::string textOf(Value const& value)
{
   std::ostringstream stream;
   stream << value;
   return stream.str();
}

Chunk chunkFrom(std::string_view text)
{
   Kro::CharRange range(text);
   return Chunk(range);
}

constexpr char const* ring =
   R"(Quorvel::Core::Memory::Info::Detail::Chunk(nameAttribute="data", name="ring", size=64, isIncapableDma=true))";

TEST(ModelText, readsAChunkAndUsesUpTheText)
{
   Kro::CharRange text(ring);

   Chunk const sut(text);

   EXPECT_EQ(sut, chunkOf("data", "ring", 64, true));
   EXPECT_TRUE(text.isEmpty());
}

TEST(ModelText, readsBackEveryChunkThatIsWritten)
{
   std::string everyByte;
   for (int byte = 0; byte < 256; ++byte) {
      everyByte += static_cast<char>(byte);
   }
   for (std::string const& name :
        {std::string(), std::string("plain"), std::string(R"(q"u\o,t)e=d{)"), everyByte, std::string(100'000, '\n')}) {
      for (std::uint32_t const size : {0U, 1U, 4294967295U}) {
         auto const chunk = chunkOf(name, "n", size, size == 0);

         EXPECT_EQ(chunkFrom(textOf(chunk)), chunk) << name.size() << " bytes, size " << size;
         EXPECT_EQ(chunkFrom(textOf(chunkOf("n", name, size, false))), chunkOf("n", name, size, false));
      }
   }
}

TEST(ModelText, readsBackRandomChunks)
{
   constexpr unsigned seed = 20261121;
   std::mt19937 random(seed);
   auto const textOfBytes = [&] {
      std::string text(random() % 40, ' ');
      for (auto& c : text) {
         c = static_cast<char>(random());
      }
      return text;
   };
   for (int i = 0; i < 2000; ++i) {
      auto const chunk = chunkOf(textOfBytes(), textOfBytes(), static_cast<std::uint32_t>(random()), random() % 2 == 0);

      ASSERT_EQ(chunkFrom(textOf(chunk)), chunk) << "seed " << seed << ", chunk " << i;
   }
}

TEST(ModelText, refusesEveryBeginOfAChunkAndAnythingAfterIt)
{
   std::string const whole = ring;
   for (std::size_t length = 0; length < whole.size(); ++length) {
      EXPECT_THROW(chunkFrom(whole.substr(0, length)), Kro::ParseException) << length;
   }
   EXPECT_EQ(
      messageOf<Kro::ParseException>([&] { chunkFrom(whole + " "); }),
      R"(position=107: the end of the text is expected, but " " is found)");
}

TEST(ModelText, refusesAChunkWithAttributesInAnotherOrder)
{
   EXPECT_EQ(
      messageOf<Kro::ParseException>([] {
         chunkFrom(R"(Quorvel::Core::Memory::Info::Detail::Chunk(nameAttribute="data", size=64, name="ring"))");
      }),
      "position=63: ', name=' is expected, but \", size=64, name=\\\"ring\\\")\" is found");
}

TEST(ModelText, refusesANumberThatIsTooLarge)
{
   EXPECT_EQ(
      messageOf<Kro::ParseException>([] {
         chunkFrom(R"(Quorvel::Core::Memory::Info::Detail::Chunk(nameAttribute="", name="", size=4294967296, )"
                   R"(isIncapableDma=true))");
      }),
      R"(position=75: a number from 0 to 4294967295 for attribute 'size' is expected, but )"
      R"("4294967296, isIncapableD"... is found)");
}

TEST(ModelText, readsThePimplFromTheEmptyTextAlone)
{
   Kro::CharRange nothing("");
   Kro::CharRange something(" ");

   EXPECT_EQ(textOf(Pimpl(nothing)), "");
   EXPECT_EQ(
      messageOf<Kro::ParseException>([&] { Pimpl{something}; }),
      R"(position=0: the end of the text is expected, but " " is found)");
}

TEST(ModelText, readsChunksAndPimplsByReflection)
{
   auto const chunk = Slot::read({&Chunk::kroType, Kro::Form::plain}, ring);
   auto const pimpl = Slot::read({&Pimpl::kroType, Kro::Form::plain}, "");

   EXPECT_EQ(chunk.genericIf().as<Chunk>(), chunkOf("data", "ring", 64, true));
   EXPECT_EQ(pimpl.genericIf().as<Pimpl>(), Pimpl());
}

template <class Value>
void expectNoTextConstructor(std::string const& name)
{
   auto const text = "assertion failed: No String constructor for " + name + " - has collection\n";

   auto const direct = inChild({}, [] {
      Kro::CharRange range("");
      Value{range};
   });
   auto const byReflection = inChild({}, [] { Slot::read({&Value::kroType, Kro::Form::plain}, ""); });

   EXPECT_EQ(direct.status, aborted);
   EXPECT_THAT(direct.errors, EndsWith(text));
   EXPECT_EQ(byReflection.status, aborted);
   EXPECT_THAT(byReflection.errors, EndsWith(text));
}

TEST(ModelText, endsTheProcessWhereADescriptionHasCollections)
{
   expectNoTextConstructor<Info::Detail::Group>("Group");
   expectNoTextConstructor<Info::Collection>("Collection");
   expectNoTextConstructor<Info::Mount>("Mount");
}

} // namespace
