#include <Quorvel/Core/Memory/Entity/Detail/Info.h>

#include "support/MessageOf.h"

#include <Kro/Exception.h>
#include <KroOrvo/Impl.h>

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>

namespace {

using Quorvel::Core::Memory::Entity::Detail::Info;
using Quorvel::Core::Test::messageOf;

static_assert(std::is_default_constructible_v<Info> && std::is_copy_constructible_v<Info>);

Info record(std::string_view sysname, std::string_view path)
{
   Info info;
   info.sysnameIs(sysname);
   info.pathIs(path);
   return info;
}

Info read(std::string_view text)
{
   Kro::CharRange range(text);
   return Info(range);
}

TEST(EntityInfo, defaultHasEmptyTextsAndIsFalse)
{
   Info const sut;

   EXPECT_EQ(sut.sysname(), "");
   EXPECT_EQ(sut.path(), "");
   EXPECT_FALSE(static_cast<bool>(sut));
}

TEST(EntityInfo, isTrueAsSoonAsOneTextIsNotEmpty)
{
   EXPECT_TRUE(static_cast<bool>(record("a", "")));
   EXPECT_TRUE(static_cast<bool>(record("", "/a")));
   EXPECT_FALSE(static_cast<bool>(record("", "")));
}

TEST(EntityInfo, equalsItselfAndWhatHasBothTexts)
{
   auto const sut = record("a", "/a/zumem/x");
   auto const same = record("a", "/a/zumem/x");

   EXPECT_EQ(sut, sut);
   EXPECT_EQ(sut, same);
   EXPECT_TRUE(Info::isEq(&sut, &same));
   EXPECT_EQ(sut.hash(), same.hash());
}

TEST(EntityInfo, differsWhenOneTextDiffers)
{
   auto const sut = record("a", "/a/zumem/x");
   auto const other = record("a", "/a/zumem/y");

   EXPECT_NE(sut, record("b", "/a/zumem/x"));
   EXPECT_NE(sut, other);
   EXPECT_FALSE(Info::isEq(&sut, &other));
   EXPECT_NE(record("a", "b"), record("b", "a"));
   EXPECT_NE(record("a", "b").hash(), record("b", "a").hash());
}

TEST(EntityInfo, isWrittenAsTheFrameworksTextForm)
{
   auto const sut = record("nvme0", "/nvme0/zumem/queues");
   std::ostringstream stream;

   stream << sut;

   EXPECT_EQ(
      stream.str(), R"(Quorvel::Core::Memory::Entity::Detail::Info(sysname="nvme0", path="/nvme0/zumem/queues"))");
   EXPECT_EQ(stream.str(), KroOrvo::Impl::valueToStrep(Info::kroType, &sut));
}

TEST(EntityInfo, isReadBackFromItsText)
{
   std::string everyByte;
   for (int byte = 0; byte < 256; ++byte) {
      everyByte += static_cast<char>(byte);
   }
   for (auto const& sut : {Info(), record("a", "/a/zumem/x"), record("\"\\(,)=", everyByte)}) {
      std::ostringstream stream;
      stream << sut;
      EXPECT_EQ(read(stream.str()), sut) << stream.str();
   }
}

TEST(EntityInfo, textOfAnotherTypeOrWithMoreBehindItIsRefused)
{
   EXPECT_THROW(read(""), Kro::ParseException);
   EXPECT_THROW(read(R"(Info(sysname="a", path="b"))"), Kro::ParseException);
   EXPECT_THROW(read(R"(Quorvel::Core::Memory::Entity::Detail::Info(path="b", sysname="a"))"), Kro::ParseException);
   EXPECT_THROW(read(R"(Quorvel::Core::Memory::Entity::Detail::Info(sysname="a", path="b") )"), Kro::ParseException);
   EXPECT_EQ(
      messageOf<Kro::ParseException>([] { read(R"(Quorvel::Core::Memory::Entity::Detail::Info(sysname="a")"); }),
      "position=55: ', path=' is expected, but the text ends");
}

} // namespace
