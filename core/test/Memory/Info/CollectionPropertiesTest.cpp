#include "Random.h"
#include "support/MessageOf.h"

#include <Quorvel/Core/Memory/Info/Collection.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

// Random calls on a collection, and the same on a model of it. The seed of a failure is in its trace.

namespace {

using Quorvel::Core::Memory::Info::Collection;
using Quorvel::Core::Memory::Info::Detail::Group;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::oddTexts;
using Quorvel::Core::Test::Random;

struct ModelGroup {
   std::uint32_t head = 0;
   std::uint32_t size = 0;
   std::map<std::string, std::tuple<std::string, std::uint32_t, bool>> chunk;

   bool operator==(ModelGroup const&) const = default;
};

struct Model {
   std::map<std::uint32_t, ModelGroup> group;
   std::set<std::string> nameAttribute;

   bool operator==(Model const&) const = default;

   // The checked builders: the text of the refusal, or "no exception".

   std::string addNameAttribute(std::string const& name)
   {
      return nameAttribute.insert(name).second ? "no exception" : "nameAttribute='" + name + "' already exists.";
   }

   std::string addGroup(std::uint32_t id, std::uint32_t size, std::uint32_t head)
   {
      if (group.contains(id)) {
         return "group with id=" + std::to_string(id) + " already exists.";
      }
      if (id > 0) {
         if (!group.contains(id - 1)) {
            return "group with id=" + std::to_string(id - 1) + " does not exist.";
         }
         std::uint32_t const end = group.at(id - 1).head + group.at(id - 1).size;
         if (head != 0 && head < end) {
            return "head=" + std::to_string(head) + " for group with id=" + std::to_string(id) +
                   " is overlapping with previous group's entries.";
         }
         head = head == 0 ? end : head;
      }
      group[id] = {head, size, {}};
      return "no exception";
   }

   std::string createChunk(
      std::uint32_t id, std::string const& field, std::string const& name, std::uint32_t size, bool isIncapableDma)
   {
      if (!group.contains(id)) {
         return "group for id=" + std::to_string(id) + " does not exist.";
      }
      if (!nameAttribute.contains(field)) {
         return "nameAttribute='" + field + "' does not exist.";
      }
      if (!group[id].chunk.emplace(field, std::tuple(name, size, isIncapableDma)).second) {
         return "chunk for nameAttribute='" + field + "' in group with id=" + std::to_string(id) + " already exists.";
      }
      return "no exception";
   }
};

ModelGroup modelOf(Group const& group)
{
   ModelGroup model{group.head(), group.size(), {}};
   for (auto const& chunk : group.chunk()) {
      model.chunk.emplace(
         std::string(chunk.nameAttribute()),
         std::tuple(std::string(chunk.name()), chunk.size(), chunk.isIncapableDma()));
   }
   return model;
}

/// What a walk over both collections gives, and the groups' identifiers in the order of the walk.
std::pair<Model, std::vector<std::uint32_t>> walk(Collection const& collection)
{
   Model seen;
   std::vector<std::uint32_t> ids;
   for (auto at = collection.group().begin(); at != collection.group().end(); ++at) {
      EXPECT_EQ(at.key(), at->id());
      seen.group.emplace(at->id(), modelOf(*at));
      ids.push_back(at->id());
   }
   for (auto const& name : collection.nameAttribute()) {
      EXPECT_TRUE(seen.nameAttribute.insert(std::string(name)).second);
   }
   return {seen, ids};
}

std::vector<std::uint32_t> idsOf(Model const& model)
{
   std::vector<std::uint32_t> ids;
   for (auto const& group : model.group) {
      ids.push_back(group.first);
   }
   return ids;
}

std::uint32_t anyId(Random& random)
{
   return random.among<std::uint32_t>({0, 1, 2, 3, 4, 4294967295U});
}

std::uint32_t anyIndex(Random& random)
{
   return random.among<std::uint32_t>({0, 1, 5, 6, 10, 11, 16, 40, 4294967290U, 4294967295U});
}

/// One random call of a builder on both. A refusal is the one of the model, and leaves no trace.
void build(Random& random, Collection& sut, Model& model)
{
   auto const before = sut;
   auto const id = anyId(random);
   auto const head = anyIndex(random);
   auto const size = anyIndex(random);
   auto const field = random.among(oddTexts);
   auto const name = random.among(oddTexts);
   bool const flag = random.once(2);
   std::string said;
   std::string expected;
   switch (random.below(4)) {
   case 0:
      said = messageOf<std::invalid_argument>([&] { sut.addNameAttribute(field); });
      expected = model.addNameAttribute(field);
      break;
   case 1:
      said = messageOf<std::invalid_argument>([&] { flag ? sut.addGroup(id, size, head) : sut.addGroup(id, size); });
      expected = model.addGroup(id, size, flag ? head : 0);
      break;
   default:
      said = messageOf<std::invalid_argument>([&] { sut.createChunk(id, field, name, size, flag); });
      expected = model.createChunk(id, field, name, size, flag);
   }
   ASSERT_EQ(said, expected);
   ASSERT_EQ(sut == before, expected != "no exception");
}

/// One random call of a plain mutator on both; what it gives back must be the same.
void change(Random& random, Collection& sut, Model& model)
{
   auto const id = anyId(random);
   auto const field = random.among(oddTexts);
   switch (random.below(12)) {
   case 0:
      if (random.once(4)) {
         sut.groupDelAll();
         model.group.clear();
      }
      break;
   case 1:
      if (random.once(4)) {
         sut.nameAttributeDelAll();
         model.nameAttribute.clear();
      }
      break;
   case 2:
      if (!model.group.empty()) {
         auto const next = sut.groupDel(sut.group().lowerBound(model.group.begin()->first));
         model.group.erase(model.group.begin());
         ASSERT_EQ(next, sut.group().begin());
      }
      break;
   case 3: {
      auto const held = model.group.contains(id) ? model.group.at(id) : ModelGroup();
      ASSERT_EQ(modelOf(sut.groupDel(id)), held);
      model.group.erase(id);
      break;
   }
   case 4:
      ASSERT_EQ(sut.nameAttributeDel(field), model.nameAttribute.erase(field) == 1);
      break;
   case 5:
   case 6:
      sut.nameAttributeIs(field);
      model.nameAttribute.insert(field);
      break;
   case 7:
   case 8: { // what is fetched, changed and stored
      auto group = sut.group(id);
      ASSERT_EQ(modelOf(group), model.group.contains(id) ? model.group.at(id) : ModelGroup());
      group.chunkDel(field);
      ASSERT_EQ(walk(sut).first, model);
      if (model.group.contains(id)) {
         sut.groupIs(group);
         model.group.at(id).chunk.erase(field);
      }
      break;
   }
   default: {
      auto const head = anyIndex(random);
      auto const size = anyIndex(random);
      sut.groupIs(Group(id, head, size));
      model.group[id] = {head, size, {}};
   }
   }
}

void step(Random& random, Collection& sut, Model& model)
{
   random.once(3) ? change(random, sut, model) : build(random, sut, model);
}

TEST(InfoCollectionProperties, randomCallsDoWhatTheyDoToAModelAndRefusalsLeaveNoTrace)
{
   for (unsigned seed = 1; seed <= 20; ++seed) {
      SCOPED_TRACE("seed " + std::to_string(seed));
      Random random(seed);
      Collection sut("ring");
      Model model;

      for (int i = 0; i < 300; ++i) {
         ASSERT_NO_FATAL_FAILURE(step(random, sut, model));
         auto const [seen, ids] = walk(sut);
         ASSERT_EQ(seen, model);
         ASSERT_EQ(ids, idsOf(model));
      }
      EXPECT_EQ(sut.name(), "ring");
   }
}

TEST(InfoCollectionProperties, whatTheBuildersMakeIsDenseAndDisjointWhereItDoesNotWrap)
{
   for (unsigned seed = 1; seed <= 20; ++seed) {
      SCOPED_TRACE("seed " + std::to_string(seed));
      Random random(seed);
      Collection sut("ring");

      for (int i = 0; i < 200; ++i) {
         auto const id = anyId(random);
         auto const head = random.below(100);
         auto const size = random.below(20);
         auto const field = random.among(oddTexts);
         try {
            random.once(3) ? sut.addGroup(id, size, head) : sut.createChunk(id, field, "block", size, false);
         } catch (std::invalid_argument const&) {
            sut.nameAttributeIs(field);
         }
      }

      std::uint32_t dense = 0;
      std::uint32_t end = 0;
      for (auto const& group : sut.group()) {
         EXPECT_EQ(group.id(), dense++);
         EXPECT_GE(group.head(), end);
         end = group.head() + group.size();
         for (auto const& chunk : group.chunk()) {
            EXPECT_TRUE(sut.nameAttribute(chunk.nameAttribute()));
         }
      }
      EXPECT_GT(dense, 0U);
   }
}

TEST(InfoCollectionProperties, equalsATwinOfTheSameCallsAndItsFormerSelfWhenACallHasChangedNothing)
{
   for (unsigned seed = 1; seed <= 20; ++seed) {
      SCOPED_TRACE("seed " + std::to_string(seed));
      Random random(seed);
      Random again(seed);
      Collection sut("");
      Collection twin("");
      Model model;
      Model modelOfTwin;

      for (int i = 0; i < 200; ++i) {
         auto const previous = sut;
         auto const modelOfPrevious = model;
         step(random, sut, model);
         step(again, twin, modelOfTwin);
         ASSERT_EQ(sut, twin);
         ASSERT_TRUE(Collection::isEq(&sut, &twin));
         ASSERT_EQ(sut == previous, model == modelOfPrevious);
         ASSERT_EQ(static_cast<bool>(sut), model != Model());
      }
   }
}

TEST(InfoCollectionProperties, copiesAreEqualAndKeepTheirContentWhateverBecomesOfTheOriginal)
{
   for (unsigned seed = 1; seed <= 20; ++seed) {
      SCOPED_TRACE("seed " + std::to_string(seed));
      Random random(seed);
      Collection sut("ring");
      Model model;
      Collection assigned("other");

      for (int i = 0; i < 50; ++i) {
         for (int changes = 0; changes < 4; ++changes) {
            step(random, sut, model);
         }
         auto copy = sut;
         assigned = sut;
         ASSERT_EQ(copy, sut);
         ASSERT_EQ(assigned, sut);
         auto const modelOfAssigned = model;
         auto modelOfCopy = model;

         step(random, sut, model);
         step(random, copy, modelOfCopy);

         ASSERT_EQ(walk(sut).first, model);
         ASSERT_EQ(walk(copy).first, modelOfCopy);
         ASSERT_EQ(walk(assigned).first, modelOfAssigned);
      }
   }
}

} // namespace
