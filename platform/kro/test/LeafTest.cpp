#include <Kro/TypeOf.h>

#include <gtest/gtest.h>

#include <limits>
#include <set>

namespace Kro {
namespace {

template <class T>
std::string textOf(T const& value)
{
   std::string text = ">";
   typeOf<T>()->ops.appendText(text, &value);
   return text;
}

TEST(Leaf, everyLeafHasItsNameAndSizeAndIsInNoModule)
{
   EXPECT_EQ(Leaf::boolean.name, "bool");
   EXPECT_EQ(Leaf::int16.name, "int16");
   EXPECT_EQ(Leaf::int32.name, "int32");
   EXPECT_EQ(Leaf::int64.name, "int64");
   EXPECT_EQ(Leaf::uint16.name, "uint16");
   EXPECT_EQ(Leaf::uint32.name, "uint32");
   EXPECT_EQ(Leaf::uint64.name, "uint64");
   EXPECT_EQ(Leaf::text.name, "text");
   EXPECT_EQ(Leaf::bytes.name, "bytes");
   EXPECT_EQ(Leaf::uint16.size, 2U);
   EXPECT_EQ(Leaf::int64.size, 8U);
   EXPECT_EQ(Leaf::text.size, sizeof(Orvo::String));
   EXPECT_EQ(Leaf::bytes.size, 0U);
   for (auto const* leaf : {&Leaf::boolean, &Leaf::uint32, &Leaf::text, &Leaf::bytes}) {
      EXPECT_EQ(leaf->kind, TypeKind::leaf);
      EXPECT_EQ(leaf->module, nullptr);
      EXPECT_TRUE(leaf->attrs.empty());
   }
}

TEST(Leaf, typesOfOneSizeAreDifferent)
{
   std::set<TypeData const*> const records = {&Leaf::boolean, &Leaf::int16,  &Leaf::int32, &Leaf::int64, &Leaf::uint16,
                                              &Leaf::uint32,  &Leaf::uint64, &Leaf::text,  &Leaf::bytes};

   EXPECT_EQ(records.size(), 9U);
   EXPECT_NE(typeRefOf<std::int32_t>(), typeRefOf<std::uint32_t>());
}

TEST(Leaf, numbersAreDecimalToTheirLimits)
{
   EXPECT_EQ(textOf<std::int16_t>(std::numeric_limits<std::int16_t>::min()), ">-32768");
   EXPECT_EQ(textOf<std::int32_t>(-1), ">-1");
   EXPECT_EQ(textOf<std::int64_t>(std::numeric_limits<std::int64_t>::min()), ">-9223372036854775808");
   EXPECT_EQ(textOf<std::uint16_t>(0), ">0");
   EXPECT_EQ(textOf<std::uint32_t>(4294967295U), ">4294967295");
   EXPECT_EQ(textOf<std::uint64_t>(std::numeric_limits<std::uint64_t>::max()), ">18446744073709551615");
}

TEST(Leaf, flagsAreWords)
{
   EXPECT_EQ(textOf(true), ">true");
   EXPECT_EQ(textOf(false), ">false");
}

TEST(Leaf, textsAreQuotedAndWhatDoesNotPrintIsEscaped)
{
   EXPECT_EQ(textOf<Orvo::String>(""), R"(>"")");
   EXPECT_EQ(textOf<Orvo::String>("a b"), R"(>"a b")");
   EXPECT_EQ(textOf<Orvo::String>("\"\\"), R"(>"\"\\")");
   EXPECT_EQ(textOf<Orvo::String>(std::string_view("\0\n\x1f\x7f", 4)), R"(>"\x00\x0a\x1f\x7f")");
   EXPECT_EQ(textOf<Orvo::String>("\x20\xc3\xa9\xff"), ">\" \xc3\xa9\xff\"");
}

TEST(Leaf, valuesAreComparedAndAssigned)
{
   std::uint32_t const seven = 7;
   std::uint32_t other = 8;
   EXPECT_FALSE(Leaf::uint32.ops.equal(&seven, &other));

   Leaf::uint32.ops.assign(&other, &seven);

   EXPECT_EQ(other, 7U);
   EXPECT_TRUE(Leaf::uint32.ops.equal(&seven, &other));
}

TEST(Leaf, hashFollowsEquality)
{
   Orvo::String const text = "a text that does not fit in place";
   Orvo::String const same = std::string("a text that does not ") + "fit in place";
   Orvo::String const other = "another text that does not fit in place";

   EXPECT_EQ(Leaf::text.ops.hash(&text), Leaf::text.ops.hash(&same));
   EXPECT_NE(Leaf::text.ops.hash(&text), Leaf::text.ops.hash(&other));
   EXPECT_EQ(Leaf::text.ops.hash(&text), text.hash());
}

TEST(Leaf, bytesHaveNoOperations)
{
   EXPECT_EQ(Leaf::bytes.ops.equal, nullptr);
   EXPECT_EQ(Leaf::bytes.ops.assign, nullptr);
   EXPECT_EQ(Leaf::bytes.ops.hash, nullptr);
   EXPECT_EQ(Leaf::bytes.ops.appendText, nullptr);
}

} // namespace
} // namespace Kro
