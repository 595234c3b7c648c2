#include <Kro/Table.h>

#include "support/Card.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Test {
namespace {

/// What a visitor saw, as text.
struct Seen {
   std::vector<std::string> entries;
   std::size_t most = 100;
};

template <class Key, class Element>
bool note(void* context, void const* key, void const* element)
{
   auto& seen = *static_cast<Seen*>(context);
   auto const text = [](auto const& value) { return std::string(Orvo::join(value)); };
   std::string entry;
   if constexpr (std::is_same_v<Key, std::int32_t>) {
      entry = std::to_string(*static_cast<Key const*>(key));
   } else {
      entry = text(*static_cast<Key const*>(key));
   }
   if constexpr (std::is_same_v<Element, std::uint32_t>) {
      entry += '=' + text(*static_cast<Element const*>(element));
   } else if constexpr (std::is_same_v<Element, Port>) {
      entry += '=' + text(static_cast<Element const*>(element)->lanes());
   } else if constexpr (std::is_same_v<Element, Lane>) {
      auto const* node = *static_cast<Orvo::Node const* const*>(element);
      entry += '=' + std::to_string(dynamic_cast<Lane const&>(*node).key());
   } else {
      EXPECT_EQ(element, nullptr);
   }
   seen.entries.push_back(entry);
   return seen.entries.size() < seen.most;
}

Kro::CollectionOps const& collectionOf(char const* name)
{
   return *Card::kroType.attr(name).collection;
}

TEST(Table, attributesKeepTheOrderOfDeclaration)
{
   std::vector<std::string_view> names;
   for (auto const& attr : Card::kroType.attrs) {
      names.push_back(attr.name);
   }

   EXPECT_EQ(
      names, (std::vector<std::string_view>{
                "speed", "serial", "label", "partner", "borrowed", "port", "limit", "tag", "lane", "scale", "fail",
                "total", "sum", "sumOfNine", "liveCards", "handlePort", "ring"}));
}

TEST(Table, kindsAndFlagsAreAsDeclared)
{
   EXPECT_EQ(Card::kroType.attr("speed").kind, Kro::Kind::value);
   EXPECT_EQ(Card::kroType.attr("speed").flags, Kro::none);
   EXPECT_EQ(Card::kroType.attr("serial").flags, Kro::readOnly | Kro::ctorArg);
   EXPECT_EQ(Card::kroType.attr("label").flags, Kro::readOnly) << "a getter";
   EXPECT_EQ(Odd::kroType.attr("fixed").flags, Kro::readOnly) << "a constant";
   EXPECT_EQ(Card::kroType.attr("port").kind, Kro::Kind::collection);
   EXPECT_EQ(Card::kroType.attr("scale").kind, Kro::Kind::operation);
   EXPECT_EQ(Card::kroType.attr("total").kind, Kro::Kind::computed);
   EXPECT_EQ(Card::kroType.attr("liveCards").kind, Kro::Kind::statics);
   EXPECT_EQ(Card::kroType.attr("handlePort").kind, Kro::Kind::reactor);
   EXPECT_EQ(Port::kroType.attr("note").flags, Kro::notCompared);
}

TEST(Table, sizesAreThoseOfStoredFields)
{
   EXPECT_EQ(Card::kroType.attr("speed").size, 4U);
   EXPECT_EQ(Card::kroType.attr("serial").size, 8U);
   EXPECT_EQ(Card::kroType.attr("label").size, 0U) << "nothing is stored";
   EXPECT_EQ(Card::kroType.attr("scale").size, 0U);
   EXPECT_EQ(Port::kroType.size, sizeof(Port));
}

TEST(Table, theTypeRecordTellsBaseKindAndModule)
{
   EXPECT_EQ(FastCard::kroType.base, &Card::kroType);
   EXPECT_EQ(Card::kroType.base, &Kro::Entity::kroType);
   EXPECT_EQ(Port::kroType.base, nullptr);
   EXPECT_EQ(Port::kroType.kind, Kro::TypeKind::value);
   EXPECT_EQ(Card::kroType.kind, Kro::TypeKind::entity);
   EXPECT_EQ(Card::kroType.module, &testModule);
}

TEST(Table, onlyEntityTypesMadeFromANameCanBeMade)
{
   EXPECT_EQ(Card::kroType.make("x")->name(), "x");
   EXPECT_EQ(Fixed::kroType.make, nullptr);
   EXPECT_EQ(Lane::kroType.make, nullptr) << "a node, but no entity";
   EXPECT_EQ(Kro::Entity::kroType.make, nullptr) << "abstract";
   EXPECT_EQ(Port::kroType.make, nullptr) << "a value";
}

TEST(Table, numbersFarApartAreNotIndexed)
{
   EXPECT_TRUE(Wide::kroType.byNumber.empty());
   EXPECT_EQ(Port::kroType.byNumber.size(), 5U);
   EXPECT_EQ(Port::kroType.firstNumber, 2);
   EXPECT_EQ(Lane::kroType.byNumber.size(), 133U);
   EXPECT_EQ(Lane::kroType.firstNumber, -2);
}

TEST(Table, valuesAreEqualWhenAllComparedAttributesAre)
{
   Port const sut("p", 4, true);
   Port other = sut;

   EXPECT_TRUE(Port::kroType.ops.equal(&sut, &sut));
   EXPECT_TRUE(Port::kroType.ops.equal(&sut, &other));
   EXPECT_FALSE(sut == Port("q", 4, true));
   EXPECT_FALSE(sut == Port("p", 5, true));
   EXPECT_FALSE(sut == Port("p", 4, false));
}

TEST(Table, equalityLeavesOutWhatIsNotCompared)
{
   Port const sut("p");
   Port other("p");
   other.noteIs("another");

   EXPECT_TRUE(sut == other);
}

TEST(Table, equalityComparesWhatGettersGive)
{
   Odd const two{};
   Odd three;
   three.content = 1;
   Odd four;
   four.content = 4;

   EXPECT_TRUE(Odd::kroType.ops.equal(&two, &three)) << "half of 0 and of 1";
   EXPECT_FALSE(Odd::kroType.ops.equal(&two, &four));
}

TEST(Table, assignCopiesTheWholeValue)
{
   Port const from("p", 4, true);
   Port to;

   Port::kroType.ops.assign(&to, &from);

   EXPECT_EQ(to, from);
}

TEST(Table, hashIsThatOfTheType)
{
   Port const sut("p", 4);

   EXPECT_EQ(Port::kroType.ops.hash(&sut), sut.hash());
   EXPECT_EQ(Odd::kroType.ops.hash, nullptr);
}

TEST(Table, collectionsTellOrderKeyAndElement)
{
   EXPECT_EQ(collectionOf("port").order, Kro::Order::hash);
   EXPECT_EQ(collectionOf("port").key, Kro::typeRefOf<Orvo::String>());
   EXPECT_EQ(Card::kroType.attr("port").type, Kro::typeRefOf<Port>());
   EXPECT_EQ(collectionOf("limit").order, Kro::Order::ordered);
   EXPECT_EQ(collectionOf("limit").key, Kro::typeRefOf<std::int32_t>());
   EXPECT_EQ(Card::kroType.attr("limit").type, Kro::typeRefOf<std::uint32_t>());
   EXPECT_EQ(Card::kroType.attr("lane").type, Kro::typeRefOf<Lane*>());
   EXPECT_TRUE(collectionOf("tag").isSet);
   EXPECT_FALSE(collectionOf("limit").isSet);
   EXPECT_EQ(Card::kroType.attr("tag").type, Kro::typeRefOf<Orvo::String>()) << "a set's keys are its elements";
}

TEST(Table, visitWalksEveryKindOfCollectionInItsOrder)
{
   auto const card = Orvo::make<Card>("a");
   Orvo::Node const* const object = card.get();
   Seen limits;
   Seen lanes;
   Seen tags;
   Seen ports;
   card->limitIs(2, 20);
   card->limitIs(-1, 10);
   card->laneIs(7, 0);
   card->laneIs(-7, 0);
   card->tagIs("t");
   card->portIs(Port("p", 4));

   collectionOf("limit").visit(object, note<std::int32_t, std::uint32_t>, &limits);
   collectionOf("lane").visit(object, note<std::int32_t, Lane>, &lanes);
   collectionOf("tag").visit(object, note<Orvo::String, void>, &tags);
   collectionOf("port").visit(object, note<Orvo::String, Port>, &ports);

   EXPECT_EQ(limits.entries, (std::vector<std::string>{"-1=10", "2=20"}));
   EXPECT_EQ(lanes.entries, (std::vector<std::string>{"-7=-7", "7=7"}));
   EXPECT_EQ(tags.entries, std::vector<std::string>{"t"});
   EXPECT_EQ(ports.entries, std::vector<std::string>{"p=4"});
   EXPECT_EQ(collectionOf("limit").size(object), 2U);
   EXPECT_EQ(collectionOf("tag").size(object), 1U);
}

TEST(Table, visitEndsWhenTheVisitorHasSeenEnough)
{
   auto const card = Orvo::make<Card>("a");
   Seen seen;
   seen.most = 1;
   card->limitIs(1, 10);
   card->limitIs(2, 20);

   collectionOf("limit").visit(static_cast<Orvo::Node*>(card.get()), note<std::int32_t, std::uint32_t>, &seen);

   EXPECT_EQ(seen.entries, std::vector<std::string>{"1=10"});
}

TEST(Table, visitSurvivesAVisitorThatRemovesWhatItSees)
{
   auto const card = Orvo::make<Card>("a");
   card->limitIs(1, 10);
   card->limitIs(2, 20);
   card->limitIs(3, 30);

   collectionOf("limit").visit(
      static_cast<Orvo::Node*>(card.get()),
      [](void* context, void const* key, void const*) {
         static_cast<Card*>(context)->limitDel(*static_cast<std::int32_t const*>(key));
         return true;
      },
      card.get());

   EXPECT_EQ(collectionOf("limit").size(static_cast<Orvo::Node*>(card.get())), 0U);
}

TEST(Table, findShowsTheElementUnderAKeyAndNothingElse)
{
   auto const card = Orvo::make<Card>("a");
   Orvo::Node const* const object = card.get();
   Seen seen;
   std::int32_t const present = 2;
   std::int32_t const absent = 3;
   Orvo::String const tag = "t";
   card->limitIs(2, 20);
   card->laneIs(2, 0);
   card->tagIs("t");

   collectionOf("limit").find(object, &present, note<std::int32_t, std::uint32_t>, &seen);
   collectionOf("limit").find(object, &absent, note<std::int32_t, std::uint32_t>, &seen);
   collectionOf("lane").find(object, &present, note<std::int32_t, Lane>, &seen);
   collectionOf("lane").find(object, &absent, note<std::int32_t, Lane>, &seen);
   collectionOf("tag").find(object, &tag, note<Orvo::String, void>, &seen);

   EXPECT_EQ(seen.entries, (std::vector<std::string>{"2=20", "2=2", "t"}));
}

TEST(Table, entriesInDeviceMemoryHaveATableAndNothingElse)
{
   auto const& sut = Card::kroType.attr("ring");

   EXPECT_EQ(sut.kind, Kro::Kind::collection);
   EXPECT_EQ(sut.type, Kro::typeRefOf<Descriptor>());
   EXPECT_EQ(sut.size, 0U);
   EXPECT_EQ(sut.collection->size, nullptr);
   EXPECT_EQ(sut.collection->visit, nullptr);
   EXPECT_EQ(sut.collection->find, nullptr);
   EXPECT_TRUE(sut.collection->is.empty());
}

TEST(Table, fieldsOfDeviceEntriesHaveTypeAndSizeButCannotBeReached)
{
   auto const& length = Descriptor::kroType.attr("length");
   auto const& reserved = Descriptor::kroType.attr("reserved");

   EXPECT_EQ(length.number, -2);
   EXPECT_EQ(length.type, Kro::typeRefOf<std::uint16_t>());
   EXPECT_EQ(length.size, 2U);
   EXPECT_EQ(length.get, nullptr);
   EXPECT_EQ(length.set, nullptr);
   EXPECT_EQ(reserved.type.type, &Kro::Leaf::bytes);
   EXPECT_EQ(reserved.size, 6U);
   EXPECT_EQ(Descriptor::kroType.ops.equal, nullptr);
}

TEST(Table, showGivesTheStoredValueItselfAndPointersAsNodes)
{
   auto const card = Orvo::make<Card>("a");
   Orvo::Node const* const object = card.get();
   void const* slot = nullptr;
   auto const keep = [](void* context, void const* key, void const* element) {
      EXPECT_EQ(key, nullptr);
      *static_cast<void const**>(context) = element;
      return true;
   };
   Orvo::Node const* shown = nullptr;
   auto const keepNode = [](void* context, void const*, void const* element) {
      *static_cast<Orvo::Node const**>(context) = *static_cast<Orvo::Node const* const*>(element);
      return true;
   };

   Card::kroType.attr("speed").show(object, keep, &slot);
   Card::kroType.attr("borrowed").show(object, keepNode, &shown);

   EXPECT_GT(slot, static_cast<void const*>(card.get()));
   EXPECT_LT(slot, static_cast<void const*>(card.get() + 1));
   EXPECT_EQ(shown, object);
   Card::kroType.attr("partner").show(object, keepNode, &shown);
   EXPECT_EQ(shown, nullptr);
}

} // namespace
} // namespace Test
