#include "Random.h"
#include "support/TestMount.h"

#include <Quorvel/Core/Memory/Info/Mount.h>

#include <Kro/Exception.h>

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

// Random calls on a mount, and the same on a model of it. The seed of a failure is in its trace.

namespace {

using Quorvel::Core::Memory::Info::Collection;
using Quorvel::Core::Memory::Info::Mount;
using Quorvel::Core::Memory::Info::Detail::Chunk;
using Quorvel::Core::Memory::Info::Detail::Group;
using Quorvel::Core::Test::BufferEntry;
using Quorvel::Core::Test::Random;
using Quorvel::Core::Test::RingEntry;
using Quorvel::Core::Test::TestMount;

/// The numbers of the mounted type's collections, and of the fields of their entries.
std::map<std::string, int> const numbers{{"ring", TestMount::ringNumber}, {"buffer", TestMount::bufferNumber}};
std::map<std::string, std::map<std::string, int>> const fieldNumbers{
   {"ring",
    {{"command", RingEntry::commandNumber}, {"status", RingEntry::statusNumber}, {"tail", RingEntry::tailNumber}}},
   {"buffer", {{"bytes", BufferEntry::bytesNumber}}}};

/// What ends a call: its kind and text, as the mount gives them.
struct Refusal {
   std::string text;
};

struct Model {
   std::map<std::string, Collection> given;
   std::map<int, Collection> derived;

   static int numberOf(std::string const& name)
   {
      auto const at = numbers.find(name);
      return at != numbers.end() ? at->second
                                 : throw Refusal{"attribute: type 'TestMount' has no attribute '" + name + "'"};
   }

   static int fieldNumberOf(std::string const& name, std::string const& field)
   {
      auto const& all = fieldNumbers.at(name);
      auto const at = all.find(field);
      auto const* const type = name == "ring" ? "RingEntry" : "BufferEntry";
      return at != all.end()
                ? at->second
                : throw Refusal{"attribute: type '" + std::string(type) + "' has no attribute '" + field + "'"};
   }

   void handle(std::string const& name)
   {
      auto const number = numberOf(name);
      if (!given.contains(name)) {
         derived.erase(number);
         return;
      }
      auto collection = given.at(name);
      for (auto const& group : given.at(name).group()) {
         for (auto const& field : collection.nameAttribute()) {
            if (!group.chunk(field)) {
               throw Refusal{
                  "argument: nameAttribute='" + std::string(field) +
                  "' does not exist for group with id=" + std::to_string(group.id())};
            }
         }
         auto filled = group;
         for (auto const& chunk : group.chunk()) {
            filled.chunkInternalIs(fieldNumberOf(name, std::string(chunk.nameAttribute())), chunk);
         }
         collection.groupIs(filled);
      }
      derived.insert_or_assign(number, collection);
   }

   void is(Collection const& collection)
   {
      std::string const name(collection.name());
      auto const [at, isNew] = given.try_emplace(name, collection);
      if (isNew || at->second != collection) {
         at->second = collection;
         handle(name);
      }
   }

   void del(std::string const& name)
   {
      if (given.erase(name) == 1) {
         handle(name);
      }
   }
};

template <class Call>
std::string refusalOf(Call const& call)
{
   try {
      call();
   } catch (Refusal const& refusal) {
      return refusal.text;
   } catch (std::invalid_argument const& error) {
      return std::string("argument: ") + error.what();
   } catch (Kro::AttrNotFoundException const& error) {
      return std::string("attribute: ") + error.what();
   }
   return "";
}

/// Now and then of a name or with a field that the mounted type lacks, or without a chunk that it needs.
Collection anyCollection(Random& random)
{
   auto const name = random.among<std::string>({"ring", "ring", "buffer", "queue"});
   Collection collection(name);
   std::vector<std::string> fields =
      name == "buffer" ? std::vector<std::string>{"bytes"} : std::vector<std::string>{"command", "status", "tail"};
   if (random.once(8)) {
      fields.emplace_back("colour");
   }
   for (auto const& field : fields) {
      if (!random.once(4)) {
         collection.nameAttributeIs(field);
      }
   }
   for (auto groups = random.below(3); groups > 0; --groups) {
      Group group(random.below(3), random.below(2), random.below(2));
      for (auto const& field : fields) {
         if (!random.once(8)) {
            Chunk chunk;
            chunk.nameAttributeIs(field);
            chunk.nameIs(random.among<std::string>({"block", "a block whose name is not kept in place"}));
            group.chunkIs(chunk);
         }
      }
      if (random.once(8)) {
         group.chunkInternalIs(static_cast<int>(random.below(4)), Chunk());
      }
      collection.groupIs(group);
   }
   return collection;
}

/// One random call on both: refused alike, and with the same state afterwards.
void step(Random& random, Mount& sut, Model& model)
{
   auto const collection = anyCollection(random);
   std::string const name(collection.name());
   auto const number = random.among<int>({TestMount::bufferNumber, TestMount::ringNumber, 9999});
   std::string said;
   std::string expected;
   switch (random.below(16)) {
   case 0: {
      std::vector<std::string> names;
      for (auto const& each : sut.collection()) {
         names.emplace_back(each.name());
      }
      said = refusalOf([&] { sut.collectionDelAll(); });
      expected = refusalOf([&] {
         for (auto const& each : names) {
            model.del(each);
         }
      });
      break;
   }
   case 1:
      sut.collectionInternalDelAll();
      model.derived.clear();
      break;
   case 2:
      sut.collectionInternalIs(number, collection);
      model.derived.insert_or_assign(number, collection);
      break;
   case 3: {
      auto const held = model.derived.contains(number) ? model.derived.at(number) : Collection("");
      ASSERT_EQ(sut.collectionInternal(number), held);
      ASSERT_EQ(sut.collectionInternalDel(number), held);
      model.derived.erase(number);
      break;
   }
   case 4:
      said = refusalOf([&] { sut.handleCollection(name); });
      expected = refusalOf([&] { model.handle(name); });
      break;
   case 5:
   case 6:
   case 7: {
      auto const held = model.given.contains(name) ? model.given.at(name) : Collection("");
      ASSERT_EQ(sut.collection(name), held);
      said = refusalOf([&] { EXPECT_EQ(sut.collectionDel(name), held); });
      expected = refusalOf([&] { model.del(name); });
      break;
   }
   case 8: // again what is there
      if (model.given.contains(name)) {
         sut.collectionIs(model.given.at(name));
      }
      break;
   default:
      said = refusalOf([&] { sut.collectionIs(collection); });
      expected = refusalOf([&] { model.is(collection); });
   }
   ASSERT_EQ(said, expected);
}

void expectSame(Mount const& sut, Model const& model)
{
   std::map<std::string, Collection> given;
   for (auto at = sut.collection().begin(); at != sut.collection().end(); ++at) {
      EXPECT_EQ(at.key(), at->name());
      EXPECT_TRUE(given.emplace(std::string(at.key()), *at).second);
   }
   EXPECT_EQ(given, model.given);
   std::vector<std::pair<int, Collection>> derived;
   for (auto at = sut.collectionInternal().begin(); at != sut.collectionInternal().end(); ++at) {
      derived.emplace_back(at.key(), *at);
   }
   EXPECT_EQ(derived, (std::vector<std::pair<int, Collection>>(model.derived.begin(), model.derived.end())));
}

TEST(InfoMountProperties, randomCallsDoWhatTheyDoToAModelAlsoWhenTheyAreRefused)
{
   for (unsigned seed = 1; seed <= 30; ++seed) {
      SCOPED_TRACE("seed " + std::to_string(seed));
      Random random(seed);
      Mount sut("a", "TestMount");
      Model model;

      for (int i = 0; i < 100; ++i) {
         ASSERT_NO_FATAL_FAILURE(step(random, sut, model));
         ASSERT_NO_FATAL_FAILURE(expectSame(sut, model));
         ASSERT_FALSE(HasFailure());
      }
   }
}

TEST(InfoMountProperties, afterCallsThatSucceedBothViewsHoldTheSameCollections)
{
   for (unsigned seed = 1; seed <= 30; ++seed) {
      SCOPED_TRACE("seed " + std::to_string(seed));
      Random random(seed);
      Mount sut("a", "TestMount");

      for (int i = 0; i < 50; ++i) {
         auto const collection = anyCollection(random);
         auto const before = sut;
         auto const refusal = refusalOf([&] {
            random.once(3) ? static_cast<void>(sut.collectionDel(collection.name())) : sut.collectionIs(collection);
         });
         if (!refusal.empty()) {
            sut = before; // a caller who gives the refused value up
         }

         ASSERT_EQ(sut.collectionInternal().size(), sut.collection().size());
         for (auto const& given : sut.collection()) {
            auto const derived = sut.collectionInternal(numbers.at(std::string(given.name())));
            ASSERT_EQ(derived.name(), given.name());
            ASSERT_EQ(derived.nameAttribute(), given.nameAttribute());
            ASSERT_EQ(derived.group().size(), given.group().size());
            for (auto const& group : given.group()) {
               ASSERT_EQ(derived.group(group.id()).chunk(), group.chunk());
               for (auto const& chunk : group.chunk()) {
                  auto const field = fieldNumbers.at(std::string(given.name())).at(std::string(chunk.nameAttribute()));
                  ASSERT_EQ(derived.group(group.id()).chunkInternal(field), chunk);
               }
            }
         }
      }
   }
}

TEST(InfoMountProperties, equalsATwinOfTheSameCallsAndCopiesGoOnByThemselves)
{
   for (unsigned seed = 1; seed <= 20; ++seed) {
      SCOPED_TRACE("seed " + std::to_string(seed));
      Random random(seed);
      Random again(seed);
      Mount sut("a", "TestMount");
      Mount twin("a", "TestMount");
      Mount assigned("b", "AnotherType");
      Model model;
      Model modelOfTwin;

      for (int i = 0; i < 50; ++i) {
         auto copy = sut;
         assigned = sut;
         auto modelOfCopy = model;
         auto modelOfAssigned = model;
         step(random, sut, model);
         step(again, twin, modelOfTwin);
         step(random, copy, modelOfCopy);
         step(again, assigned, modelOfAssigned);

         ASSERT_EQ(sut, twin);
         ASSERT_TRUE(Mount::isEq(&sut, &twin));
         ASSERT_EQ(copy, assigned);
         expectSame(copy, modelOfCopy);
         expectSame(sut, model);
         ASSERT_EQ(sut == copy, model.given == modelOfCopy.given && model.derived == modelOfCopy.derived);
         ASSERT_FALSE(HasFailure());
      }
   }
}

} // namespace
