#include <Kro/TypeOf.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <new>
#include <set>
#include <string>

namespace Kro {
namespace {

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

TEST(Leaf, valuesAreMadeCopiedAndEnded)
{
   Orvo::String const text = "a text that does not fit in place";
   alignas(Orvo::String) std::byte room[2][sizeof(Orvo::String)];

   Leaf::text.ops.copy(room[0], &text);
   Leaf::text.ops.init(room[1]);

   EXPECT_TRUE(Leaf::text.ops.equal(room[0], &text));
   EXPECT_EQ(*std::launder(reinterpret_cast<Orvo::String*>(room[1])), "");
   Leaf::text.ops.destroy(room[0]);
   Leaf::text.ops.destroy(room[1]);
}

TEST(Leaf, defaultNumbersAreZeroAndTheDefaultFlagIsFalse)
{
   std::int64_t number = 7;
   bool flag = true;

   Leaf::int64.ops.init(&number);
   Leaf::boolean.ops.init(&flag);

   EXPECT_EQ(number, 0);
   EXPECT_FALSE(flag);
}

TEST(Leaf, bytesHaveNoOperations)
{
   EXPECT_EQ(Leaf::bytes.ops.equal, nullptr);
   EXPECT_EQ(Leaf::bytes.ops.assign, nullptr);
   EXPECT_EQ(Leaf::bytes.ops.hash, nullptr);
   EXPECT_EQ(Leaf::bytes.ops.appendText, nullptr);
   EXPECT_EQ(Leaf::bytes.ops.read, nullptr);
   EXPECT_EQ(Leaf::bytes.ops.init, nullptr);
}

} // namespace
} // namespace Kro
