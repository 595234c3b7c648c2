#include <Kro/Dir.h>

#include "support/Card.h"
#include "support/MessageOf.h"

#include <Kro/Exception.h>
#include <Kro/KroModule.h>

#include <Orvo/Subscriber.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <tuple>
#include <vector>

#include <sys/resource.h>

namespace Test {
namespace {

using Kro::Dir;
using Kro::Entity;

class DirTest : public testing::Test {
protected:
   Orvo::Ptr<Card> card(Orvo::String const& name)
   {
      return Orvo::dynamicCast<Card>(sut->createEntity("Test::Card", name));
   }

   Orvo::Ptr<Dir> dir(Orvo::String const& name) { return Orvo::dynamicCast<Dir>(sut->createEntity("Kro::Dir", name)); }

   Orvo::Ptr<Dir> const sut = Orvo::make<Dir>("sut");
};

TEST_F(DirTest, createEntityMakesOneOfTheTypeAndKeepsAReference)
{
   auto const made = sut->createEntity("Test::FastCard", "a");

   EXPECT_EQ(&made->fwkType(), &FastCard::kroType);
   EXPECT_EQ(made->name(), "a");
   EXPECT_EQ(made->useCount(), 2U);
   EXPECT_EQ(made->parent(), sut);
   EXPECT_EQ(made->publisher()->parent(), sut->publisher());
   EXPECT_EQ(sut->entity("a"), made);
   EXPECT_EQ(sut->entity().size(), 1U);
}

TEST_F(DirTest, createEntityGivesTheExistingOneWhateverItsType)
{
   auto const first = card("a");

   EXPECT_EQ(sut->createEntity("Test::Card", "a"), first);
   EXPECT_EQ(sut->createEntity("Kro::Dir", "a"), first);
   EXPECT_EQ(sut->createEntity("Test::Unknown", "a"), first);
   EXPECT_EQ(first->parents.size(), 1U) << "its parent has not changed again";
}

TEST_F(DirTest, createEntityTellsTheEntityItsParent)
{
   EXPECT_EQ(card("a")->parents, std::vector<Dir*>{sut.get()});
}

TEST_F(DirTest, createEntityRefusesAnUnknownType)
{
   EXPECT_EQ(
      messageOf<Kro::TypeNotFoundException>([&] { sut->createEntity("Test::Unknown", "a"); }),
      "no registered type is named 'Test::Unknown'");
   EXPECT_TRUE(sut->entity().empty());
}

TEST_F(DirTest, createEntityRefusesATypeThatIsNotMadeFromAName)
{
   EXPECT_EQ(
      messageOf<Kro::NewEntityArgsException>([&] { sut->createEntity("Test::Fixed", "a"); }),
      "an entity of type 'Test::Fixed' named 'a' cannot be made: the type cannot be made from a name");
   EXPECT_THROW(sut->createEntity("Test::Port", "a"), Kro::NewEntityArgsException) << "a value";
   EXPECT_THROW(sut->createEntity("Kro::Entity", "a"), Kro::NewEntityArgsException) << "abstract";
   EXPECT_TRUE(sut->entity().empty());
}

TEST_F(DirTest, createEntityRefusesANameWithASlash)
{
   EXPECT_EQ(
      messageOf<Kro::NewEntityArgsException>([&] { sut->createEntity("Test::Card", "a/b"); }),
      "an entity of type 'Test::Card' named 'a/b' cannot be made: a name cannot hold '/'");
   EXPECT_THROW(sut->createEntity("Test::Card", "/"), Kro::NewEntityArgsException);
   EXPECT_TRUE(sut->entity().empty());
}

TEST_F(DirTest, createEntityLeavesNothingWhenTheConstructorThrows)
{
   auto const live = Picky::live;

   EXPECT_EQ(messageOf<Kro::RangeException>([&] { sut->createEntity("Test::Picky", "bad"); }), "bad name");

   EXPECT_EQ(Picky::live, live);
   EXPECT_TRUE(sut->entity().empty());
   EXPECT_NE(sut->createEntity("Test::Picky", "good"), nullptr);
}

TEST_F(DirTest, createEntityRefusesATypeThatChoosesAnotherName)
{
   auto const live = Picky::live;

   EXPECT_EQ(
      messageOf<Kro::NewEntityArgsException>([&] { sut->createEntity("Test::Picky", "alias"); }),
      "an entity of type 'Test::Picky' named 'alias' cannot be made: the type gives its entities another name");
   EXPECT_EQ(Picky::live, live);
   EXPECT_TRUE(sut->entity().empty());
}

TEST_F(DirTest, createEntityKeepsTheOneThatTheConstructorCreatedUnderTheName)
{
   auto const live = Picky::live;

   auto const made = Kro::globalDir()->createEntity("Test::Picky", "twin");

   EXPECT_EQ(&made->fwkType(), &Card::kroType);
   EXPECT_EQ(made, Kro::globalDir()->entity("twin"));
   EXPECT_EQ(Picky::live, live);
   Kro::globalDir()->deleteEntity("twin");
}

TEST_F(DirTest, theEmptyNameAndDotsAreOrdinaryNames)
{
   auto const empty = card("");
   auto const dot = card(".");
   auto const dots = card("..");

   EXPECT_EQ(sut->entity(""), empty);
   EXPECT_EQ(sut->entity2Impl(""), empty);
   EXPECT_EQ(sut->entity2Impl("."), dot);
   EXPECT_EQ(sut->entity2Impl(".."), dots);
   sut->deleteEntity("");
   EXPECT_EQ(sut->entity(""), nullptr);
   EXPECT_EQ(sut->entity().size(), 2U);
}

TEST_F(DirTest, deleteEntityTakesItOutAndDropsTheReference)
{
   auto const taken = card("a");

   sut->deleteEntity("a");

   EXPECT_EQ(sut->entity("a"), nullptr);
   EXPECT_EQ(taken->useCount(), 1U);
   EXPECT_EQ(taken->parent(), nullptr);
   EXPECT_EQ(taken->publisher()->parent(), nullptr);
   EXPECT_EQ(taken->parents, (std::vector<Dir*>{sut.get(), nullptr}));
}

TEST_F(DirTest, deleteEntityDestroysOneThatNobodyElseUses)
{
   auto const live = Card::live;
   card("a");
   ASSERT_EQ(Card::live, live + 1);

   sut->deleteEntity("a");

   EXPECT_EQ(Card::live, live);
}

TEST_F(DirTest, deleteEntityTakesTheEntitysOwnNameAsArgument)
{
   card("a name that is too long to lie in place");

   sut->deleteEntity(sut->entity("a name that is too long to lie in place")->name());

   EXPECT_TRUE(sut->entity().empty());
}

TEST_F(DirTest, deleteEntityOfAnUnknownNameIsNoError)
{
   auto const kept = card("a");
   int told = 0;
   Orvo::CallbackSubscriber const subscriber(*sut->publisher(), [&](Orvo::Change const&) { ++told; });

   sut->deleteEntity("b");
   sut->deleteEntity("b");

   EXPECT_EQ(sut->entity("a"), kept);
   EXPECT_EQ(told, 0);
}

TEST_F(DirTest, aNameCanBeUsedAgain)
{
   auto const first = card("a");
   sut->deleteEntity("a");

   EXPECT_NE(card("a"), first);
   EXPECT_EQ(sut->entity().size(), 1U);
}

TEST_F(DirTest, membershipIsPublishedOnceItHasChanged)
{
   std::vector<std::tuple<Orvo::Node*, int, std::string, std::string, std::size_t>> changes;
   Orvo::CallbackSubscriber const subscriber(*sut->publisher(), [&](Orvo::Change const& change) {
      changes.emplace_back(
         change.entity, change.attribute, change.attributeName, std::string(change.key.text()), sut->entity().size());
   });

   card("a");
   card("a");
   sut->deleteEntity("a");

   Orvo::Node* const node = sut.get();
   EXPECT_EQ(
      changes, (std::vector<std::tuple<Orvo::Node*, int, std::string, std::string, std::size_t>>{
                  {node, 258, "entity", "a", 1}, {node, 258, "entity", "a", 0}}));
}

TEST_F(DirTest, membershipIsPublishedToTheDirectoriesAbove)
{
   auto const below = dir("below");
   std::vector<Orvo::Node*> changed;
   Orvo::CallbackSubscriber const subscriber(
      *sut->publisher(), [&](Orvo::Change const& change) { changed.push_back(change.entity); });

   below->createEntity("Test::Card", "a");

   EXPECT_EQ(changed, std::vector<Orvo::Node*>{below.get()});
}

TEST_F(DirTest, theChangeStaysWhenASubscriberThrows)
{
   Orvo::CallbackSubscriber const subscriber(
      *sut->publisher(), [](Orvo::Change const&) { throw std::runtime_error("no"); });

   EXPECT_THROW(card("a"), std::runtime_error);
   EXPECT_NE(sut->entity("a"), nullptr);
   EXPECT_THROW(sut->deleteEntity("a"), std::runtime_error);
   EXPECT_EQ(sut->entity("a"), nullptr);
}

TEST_F(DirTest, aSubscriberMayDeleteWhatWasJustCreated)
{
   Orvo::CallbackSubscriber const subscriber(*sut->publisher(), [&](Orvo::Change const&) { sut->deleteEntity("a"); });

   auto const made = card("a");

   EXPECT_EQ(made->parent(), nullptr);
   EXPECT_EQ(made->useCount(), 1U);
   EXPECT_TRUE(sut->entity().empty());
}

TEST(Dir, itsDestructionTakesTheParentFromTheChildrenBeforeTheyGo)
{
   auto dir = Orvo::make<Dir>("d");
   auto const kept = Orvo::dynamicCast<Card>(dir->createEntity("Test::Card", "kept"));
   auto const live = Card::live;
   dir->createEntity("Test::Card", "a");

   dir.reset();

   EXPECT_EQ(Card::live, live);
   EXPECT_EQ(kept->parent(), nullptr);
   EXPECT_EQ(kept->publisher()->parent(), nullptr);
   EXPECT_EQ(kept->parents.back(), nullptr);
   EXPECT_EQ(kept->useCount(), 1U);
}

TEST(Dir, itsDestructionLeavesADirectoryBelowAloneThatSomebodyKeeps)
{
   auto dir = Orvo::make<Dir>("d");
   auto const kept = Orvo::dynamicCast<Dir>(dir->createEntity("Kro::Dir", "kept"));
   auto const card = kept->createEntity("Test::Card", "a");

   dir.reset();

   EXPECT_EQ(kept->parent(), nullptr);
   EXPECT_EQ(kept->entity("a"), card);
   EXPECT_EQ(card->parent(), kept);
}

TEST(Dir, itsDestructionSurvivesAnEntityThatDeletesTheOthers)
{
   auto const live = Card::live;
   auto dir = Orvo::make<Dir>("d");
   auto const below = Orvo::dynamicCast<Dir>(dir->createEntity("Kro::Dir", "below")).get();
   for (char const* name : {"a", "b", "c"}) {
      dir->createEntity("Test::Card", name);
      below->createEntity("Test::Card", name);
   }
   Card::whenParentChanges = [&, last = dir.get()] {
      Card::whenParentChanges = nullptr;
      for (char const* name : {"a", "below", "b", "c"}) {
         last->deleteEntity(name);
      }
   };

   dir.reset();

   EXPECT_EQ(Card::live, live);
   Card::whenParentChanges = nullptr;
}

/// With a stack of 256 KiB.
[[noreturn]] void destroyDeepTreeAndExit()
{
   auto top = Orvo::make<Dir>("top");
   auto directory = top;
   for (int depth = 0; depth < 5000; ++depth) {
      directory->createEntity("Test::Card", "beside");
      directory = Orvo::dynamicCast<Dir>(directory->createEntity("Kro::Dir", ""));
   }
   directory.reset();
   rlimit const small{std::size_t{256} * 1024, RLIM_INFINITY};
   ::setrlimit(RLIMIT_STACK, &small);
   top.reset();
   std::_Exit(Card::live == 0 ? 0 : 1);
}

TEST(DirDeathTest, itsDestructionTakesTheSameStackForATreeOfAnyDepth)
{
   EXPECT_EXIT(destroyDeepTreeAndExit(), testing::ExitedWithCode(0), "");
}

TEST_F(DirTest, entity2ImplResolvesPieceByPiece)
{
   auto const a = dir("a");
   auto const b = Orvo::dynamicCast<Dir>(a->createEntity("Kro::Dir", "b"));
   auto const leaf = b->createEntity("Test::Card", "leaf");

   EXPECT_EQ(sut->entity2Impl("a"), a);
   EXPECT_EQ(sut->entity2Impl("a/b"), b);
   EXPECT_EQ(sut->entity2Impl("a/b/leaf"), leaf);
}

TEST_F(DirTest, entity2ImplIsNullWhenSomethingIsMissingOrNoDirectory)
{
   dir("a")->createEntity("Test::Card", "leaf");

   EXPECT_EQ(sut->entity2Impl(""), nullptr);
   EXPECT_EQ(sut->entity2Impl("b"), nullptr);
   EXPECT_EQ(sut->entity2Impl("a/missing"), nullptr);
   EXPECT_EQ(sut->entity2Impl("missing/leaf"), nullptr);
   EXPECT_EQ(sut->entity2Impl("a/leaf/below"), nullptr) << "no directory";
   EXPECT_EQ(sut->entity2Impl("a/leaf/"), nullptr);
   EXPECT_EQ(sut->entity2Impl("a/../a"), nullptr);
}

TEST_F(DirTest, entity2ImplTakesEmptyPiecesLiterally)
{
   auto const a = dir("a");
   auto const unnamed = dir("");

   EXPECT_EQ(sut->entity2Impl("/a"), nullptr) << "the child 'a' of the child ''";
   EXPECT_EQ(sut->entity2Impl("a/"), nullptr) << "the child '' of 'a'";
   auto const below = unnamed->createEntity("Test::Card", "a");
   auto const unnamedBelow = a->createEntity("Test::Card", "");

   EXPECT_EQ(sut->entity2Impl("/a"), below);
   EXPECT_EQ(sut->entity2Impl("a/"), unnamedBelow);
   EXPECT_EQ(sut->entity2Impl("a//"), nullptr);
}

TEST_F(DirTest, theOrderOfItsEntitiesDependsOnTheirNamesAlone)
{
   auto const other = Orvo::make<Dir>("other");
   for (char const* name : {"a", "b", "c", "d"}) {
      card(name);
   }
   for (char const* name : {"d", "b", "c", "a"}) {
      other->createEntity("Test::Card", name);
   }
   std::vector<Orvo::String> names;
   std::vector<Orvo::String> otherNames;
   for (auto const& entity : sut->entity()) {
      names.push_back(entity->name());
   }
   for (auto const& entity : other->entity()) {
      otherNames.push_back(entity->name());
   }

   EXPECT_EQ(names.size(), 4U);
   EXPECT_EQ(names, otherNames);
}

TEST(Dir, isCountedByItsTracker)
{
   auto const before = Dir::memAllocationTracker_.liveCount();

   auto dir = Orvo::make<Dir>("d");
   EXPECT_EQ(Dir::memAllocationTracker_.liveCount(), before + 1);
   dir.reset();

   EXPECT_EQ(Dir::memAllocationTracker_.liveCount(), before);
}

TEST(Dir, globalDirIsTheRoot)
{
   auto const root = Kro::globalDir();

   ASSERT_NE(root, nullptr);
   EXPECT_EQ(root, Kro::globalDir());
   EXPECT_EQ(root->name(), "");
   EXPECT_EQ(root->parent(), nullptr);
   EXPECT_EQ(&root->fwkType(), &Dir::kroType);
}

/// What the root still holds is destroyed at exit, after this program's own static objects.
class Late : public Entity {
public:
   explicit Late(Orvo::String const& name) : Entity(name) {}

   ~Late() override
   {
      nodeFlagSet(flagDeleteOnLastUser, false);
      std::fputs(Kro::globalDir() == nullptr ? "late: without root\n" : "late: with root\n", stderr);
   }

   Kro::TypeData const& typeData() const noexcept override { return Card::kroType; }
};

struct Static {
   ~Static() { std::fputs("static object\n", stderr); }
};

Kro::TypeData lateData()
{
   Kro::TypeData data;
   data.name = "Test::Late";
   data.make = [](Orvo::String const& name) -> Orvo::Ptr<Entity> { return Orvo::make<Late>(name); };
   return data;
}

/// Leaves an entity in the root and ends the process.
[[noreturn]] void leaveOneAndExit()
{
   static Kro::TypeData data = lateData();
   static Kro::KroModule late{"Test late", "", {}, {}};
   data.module = &late;
   static Kro::KroType const type(data);
   static Kro::KroType const* const types[] = {&type};
   late.types = types;
   Kro::kroModuleIs(late);
   Kro::globalDir()->createEntity("Test::Late", "late");
   static Static const here;
   std::exit(0);
}

TEST(DirDeathTest, theRootIsDestroyedAtExitAfterTheProgramsStaticObjects)
{
   EXPECT_EXIT(leaveOneAndExit(), testing::ExitedWithCode(0), "static object\nlate: without root");
}

TEST_F(DirTest, survivesAnEntityThatLetsGoOfItWhenItsParentChanges)
{
   auto held = Orvo::make<Dir>("held");
   auto& last = *held;
   Card::whenParentChanges = [&] { held.reset(); };

   auto const entity = last.createEntity("Test::Card", "a");

   EXPECT_EQ(held, nullptr);
   EXPECT_EQ(entity->parent(), nullptr);

   held = Orvo::make<Dir>("held");
   Card::whenParentChanges = nullptr;
   auto const other = held->createEntity("Test::Card", "b");
   Card::whenParentChanges = [&] { held.reset(); };

   held->deleteEntity("b");

   EXPECT_EQ(held, nullptr);
   EXPECT_EQ(other->parent(), nullptr);
   Card::whenParentChanges = nullptr;
}

} // namespace
} // namespace Test
