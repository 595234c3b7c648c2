#include "../Random.h"

#include <Quorvel/Core/Memory/Info/Detail/Group.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

// Random calls on a group, and the same on a model of it. The seed of a failure is in its trace.

namespace {

using Quorvel::Core::Memory::Info::Detail::Chunk;
using Quorvel::Core::Memory::Info::Detail::Group;
using Quorvel::Core::Test::oddTexts;
using Quorvel::Core::Test::Random;

using Content = std::tuple<std::string, std::string, std::uint32_t, bool>;

struct Model {
   std::map<std::string, Content> chunk;
   std::map<int, Content> chunkInternal;

   bool operator==(Model const&) const = default;
};

Content contentOf(Chunk const& chunk)
{
   return {std::string(chunk.nameAttribute()), std::string(chunk.name()), chunk.size(), chunk.isIncapableDma()};
}

Chunk chunkOf(Content const& content)
{
   Chunk chunk;
   chunk.nameAttributeIs(std::get<0>(content));
   chunk.nameIs(std::get<1>(content));
   chunk.sizeIs(std::get<2>(content));
   chunk.isIncapableDmaIs(std::get<3>(content));
   return chunk;
}

/// What a walk over both collections gives; false in the second when it meets a key twice or in the wrong order.
std::pair<Model, bool> walk(Group const& group)
{
   Model seen;
   bool isInOrder = true;
   for (auto at = group.chunk().begin(); at != group.chunk().end(); ++at) {
      isInOrder &= seen.chunk.emplace(std::string(at.key()), contentOf(*at)).second;
   }
   std::optional<int> previous;
   for (auto at = group.chunkInternal().begin(); at != group.chunkInternal().end(); ++at) {
      isInOrder &= !previous || *previous < at.key();
      previous = at.key();
      seen.chunkInternal.emplace(at.key(), contentOf(*at));
   }
   return {seen, isInOrder};
}

Content anyContent(Random& random)
{
   return {
      random.among(oddTexts), random.among(oddTexts), random.among<std::uint32_t>({0, 1, 4096, 4294967295U}),
      random.once(2)};
}

int anyNumber(Random& random)
{
   return random.among<int>({-2147483647 - 1, -3, 0, 2, 3, 300, 2147483647});
}

template <class Map, class Key>
Content takeFrom(Map& map, Key const& key)
{
   auto const at = map.find(key);
   if (at == map.end()) {
      return contentOf(Chunk());
   }
   auto const content = at->second;
   map.erase(at);
   return content;
}

/// One random call on both; what it gives back must be the same.
void step(Random& random, Group& sut, Model& model)
{
   auto const content = anyContent(random);
   auto const text = random.among(oddTexts);
   auto const number = anyNumber(random);
   switch (random.below(20)) {
   case 0:
      sut.chunkDelAll();
      model.chunk.clear();
      break;
   case 1:
      sut.chunkInternalDelAll();
      model.chunkInternal.clear();
      break;
   case 2:
   case 3:
      if (!model.chunkInternal.empty()) {
         auto at = sut.chunkInternal().begin();
         auto inModel = model.chunkInternal.begin();
         for (auto i = random.below(static_cast<unsigned>(model.chunkInternal.size())); i > 0; --i) {
            ++at;
            ++inModel;
         }
         auto const next = sut.chunkInternalDel(at);
         inModel = model.chunkInternal.erase(inModel);
         ASSERT_EQ(next == sut.chunkInternal().end(), inModel == model.chunkInternal.end());
         ASSERT_TRUE(next == sut.chunkInternal().end() || next.key() == inModel->first);
      }
      break;
   case 4:
   case 5:
   case 6:
      ASSERT_EQ(contentOf(sut.chunkDel(text)), takeFrom(model.chunk, text));
      break;
   case 7:
   case 8:
   case 9:
      ASSERT_EQ(contentOf(sut.chunkInternalDel(number)), takeFrom(model.chunkInternal, number));
      break;
   case 10:
   case 11:
   case 12:
   case 13:
   case 14:
      sut.chunkIs(chunkOf(content));
      model.chunk.insert_or_assign(std::get<0>(content), content);
      break;
   default:
      sut.chunkInternalIs(number, chunkOf(content));
      model.chunkInternal.insert_or_assign(number, content);
   }
}

TEST(InfoGroupProperties, randomCallsDoWhatTheyDoToTwoMaps)
{
   for (unsigned seed = 1; seed <= 20; ++seed) {
      SCOPED_TRACE("seed " + std::to_string(seed));
      Random random(seed);
      Group sut(seed, 2, 3);
      Model model;

      for (int i = 0; i < 200; ++i) {
         ASSERT_NO_FATAL_FAILURE(step(random, sut, model));
         auto const [seen, isInOrder] = walk(sut);
         ASSERT_EQ(seen, model);
         ASSERT_TRUE(isInOrder);
         auto const text = random.among(oddTexts);
         auto const number = anyNumber(random);
         ASSERT_EQ(contentOf(sut.chunk(text)), model.chunk.contains(text) ? model.chunk.at(text) : contentOf(Chunk()));
         ASSERT_EQ(
            contentOf(sut.chunkInternal(number)),
            model.chunkInternal.contains(number) ? model.chunkInternal.at(number) : contentOf(Chunk()));
      }
      EXPECT_EQ(sut.id(), seed);
      EXPECT_EQ(sut.head(), 2U);
      EXPECT_EQ(sut.size(), 3U);
   }
}

TEST(InfoGroupProperties, equalsATwinOfTheSameCallsAndItsFormerSelfWhenACallHasChangedNothing)
{
   for (unsigned seed = 1; seed <= 20; ++seed) {
      SCOPED_TRACE("seed " + std::to_string(seed));
      Random random(seed);
      Random again(seed);
      Group sut(0, 0, 0);
      Group twin(0, 0, 0);
      Model model;
      Model modelOfTwin;
      Group previous = sut;
      Model modelOfPrevious;

      for (int i = 0; i < 200; ++i) {
         step(random, sut, model);
         step(again, twin, modelOfTwin);
         ASSERT_EQ(sut, twin);
         ASSERT_TRUE(Group::isEq(&sut, &twin));
         ASSERT_EQ(sut == previous, model == modelOfPrevious);
         ASSERT_EQ(static_cast<bool>(sut), model != Model());
         previous = sut;
         modelOfPrevious = model;
      }
   }
}

TEST(InfoGroupProperties, copiesAreEqualAndKeepTheirContentWhateverBecomesOfTheOriginal)
{
   for (unsigned seed = 1; seed <= 20; ++seed) {
      SCOPED_TRACE("seed " + std::to_string(seed));
      Random random(seed);
      Group sut(0, 0, 0);
      Model model;
      Group assigned(9, 9, 9);

      for (int i = 0; i < 50; ++i) {
         for (int changes = 0; changes < 4; ++changes) {
            step(random, sut, model);
         }
         auto copy = sut;
         assigned = sut;
         ASSERT_EQ(copy, sut);
         ASSERT_EQ(assigned, sut);
         auto const modelOfCopies = model;
         auto modelOfCopy = model;

         step(random, sut, model);
         step(random, copy, modelOfCopy);

         ASSERT_EQ(walk(sut).first, model);
         ASSERT_EQ(walk(copy).first, modelOfCopy);
         ASSERT_EQ(walk(assigned).first, modelOfCopies);
      }
   }
}

} // namespace
