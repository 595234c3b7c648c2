#include <Quorvel/Core/Memory/Info/Detail/Chunk.h>

#include <KroOrvo/Impl.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <sstream>
#include <string_view>
#include <type_traits>

namespace {

using Quorvel::Core::Memory::Info::Detail::Chunk;

static_assert(!std::is_constructible_v<Chunk, Orvo::String, Orvo::String, std::uint32_t, bool>);
static_assert(std::is_copy_constructible_v<Chunk> && std::is_copy_assignable_v<Chunk>);

Chunk example()
{
   Chunk chunk;
   chunk.nameAttributeIs("command");
   chunk.nameIs("ring.command");
   chunk.sizeIs(4096);
   chunk.isIncapableDmaIs(true);
   return chunk;
}

TEST(InfoChunk, defaultHasEmptyTextsNoSizeAndIsDmaCapable)
{
   Chunk const sut;

   EXPECT_EQ(sut.nameAttribute(), "");
   EXPECT_EQ(sut.name(), "");
   EXPECT_EQ(sut.size(), 0U);
   EXPECT_FALSE(sut.isIncapableDma());
   EXPECT_FALSE(static_cast<bool>(sut));
}

TEST(InfoChunk, keepsWhatItIsGiven)
{
   auto sut = example();
   sut.sizeIs(std::numeric_limits<std::uint32_t>::max());

   EXPECT_EQ(sut.nameAttribute(), "command");
   EXPECT_EQ(sut.name(), "ring.command");
   EXPECT_EQ(sut.size(), 4294967295U);
   EXPECT_TRUE(sut.isIncapableDma());
}

TEST(InfoChunk, isTrueAsSoonAsOneAttributeIsNotTheDefault)
{
   Chunk nameAttribute;
   nameAttribute.nameAttributeIs("a");
   Chunk name;
   name.nameIs("a");
   Chunk size;
   size.sizeIs(1);
   Chunk isIncapableDma;
   isIncapableDma.isIncapableDmaIs(true);

   EXPECT_TRUE(static_cast<bool>(nameAttribute));
   EXPECT_TRUE(static_cast<bool>(name));
   EXPECT_TRUE(static_cast<bool>(size));
   EXPECT_TRUE(static_cast<bool>(isIncapableDma));
}

TEST(InfoChunk, isFalseAgainWhenTheDefaultsAreSetBack)
{
   auto sut = example();

   sut.nameAttributeIs("");
   sut.nameIs("");
   sut.sizeIs(0);
   sut.isIncapableDmaIs(false);

   EXPECT_FALSE(static_cast<bool>(sut));
}

TEST(InfoChunk, equalsItselfAndWhatHasTheSameAttributes)
{
   auto const sut = example();
   auto const copy = sut;

   EXPECT_EQ(sut, sut);
   EXPECT_EQ(sut, copy);
   EXPECT_EQ(sut, example());
   EXPECT_TRUE(Chunk::isEq(&sut, &copy));
}

TEST(InfoChunk, differsWhenOneAttributeDiffers)
{
   auto nameAttribute = example();
   nameAttribute.nameAttributeIs("status");
   auto name = example();
   name.nameIs("ring.status");
   auto size = example();
   size.sizeIs(4095);
   auto isIncapableDma = example();
   isIncapableDma.isIncapableDmaIs(false);

   for (auto const& other : {nameAttribute, name, size, isIncapableDma}) {
      auto const sut = example();
      EXPECT_NE(sut, other);
      EXPECT_FALSE(Chunk::isEq(&sut, &other));
      EXPECT_NE(sut.hash(), other.hash());
   }
}

TEST(InfoChunk, hashesEqualChunksEqually)
{
   EXPECT_EQ(example().hash(), example().hash());
   EXPECT_EQ(Chunk().hash(), Chunk().hash());
}

TEST(InfoChunk, hashTellsTheTwoTextsApart)
{
   Chunk nameAttribute;
   nameAttribute.nameAttributeIs("a");
   Chunk name;
   name.nameIs("a");

   EXPECT_NE(nameAttribute.hash(), name.hash());
}

TEST(InfoChunk, copyIsIndependent)
{
   auto const sut = example();

   auto copy = sut;
   copy.nameIs("other");
   copy.sizeIs(1);

   EXPECT_EQ(sut, example());
}

TEST(InfoChunk, writesItsAttributesInTheOrderOfDeclaration)
{
   auto const sut = example();
   std::ostringstream stream;

   stream << sut;

   EXPECT_EQ(
      stream.str(), "Quorvel::Core::Memory::Info::Detail::Chunk(nameAttribute=\"command\", name=\"ring.command\", "
                    "size=4096, isIncapableDma=true)");
   EXPECT_EQ(stream.str(), KroOrvo::Impl::valueToStrep(Chunk::kroType, &sut));
}

TEST(InfoChunk, writesTextsThatAreNotPlainWithEscapes)
{
   Chunk sut;
   sut.nameAttributeIs(std::string_view("a\"b\\c\0d", 7));
   sut.nameIs("\n\xff");
   std::ostringstream stream;

   stream << sut;

   EXPECT_EQ(
      stream.str(), "Quorvel::Core::Memory::Info::Detail::Chunk(nameAttribute=\"a\\\"b\\\\c\\x00d\", "
                    "name=\"\\x0a\xff\", size=0, isIncapableDma=false)");
}

} // namespace
