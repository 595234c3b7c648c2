#include <Quorvel/Core/Memory/Entity/Detail/Orphanage.h>

#include "support/ChangeRecorder.h"
#include "support/MessageOf.h"

#include <Quorvel/Core/Memory/Entity/Manager.h>

#include <Kro/Dir.h>
#include <Kro/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string_view>
#include <vector>

namespace {

using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Memory::Entity::Detail::Info;
using Quorvel::Core::Memory::Entity::Detail::Orphanage;
using Quorvel::Core::Test::ChangeRecorder;
using Quorvel::Core::Test::messageOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr char const* orphanageName = "Quorvel::Core::Memory::Entity::Detail::Orphanage";

Info record(std::string_view sysname, std::string_view path)
{
   Info info;
   info.sysnameIs(sysname);
   info.pathIs(path);
   return info;
}

class EntityOrphanage : public testing::Test {
protected:
   Orvo::Ptr<Orphanage> sut = Orvo::make<Orphanage>("orphanage");
   Orvo::Ptr<Kro::Dir> entity = Orvo::make<Kro::Dir>("x");
   Orvo::Ptr<Kro::Dir> other = Orvo::make<Kro::Dir>("y");
};

TEST_F(EntityOrphanage, isAnEntityOfItsOwnType)
{
   EXPECT_EQ(sut->name(), "orphanage");
   EXPECT_EQ(sut->nameString(), "orphanage");
   EXPECT_EQ(&sut->typeData(), static_cast<Kro::TypeData const*>(&Orphanage::kroType));
   EXPECT_EQ(&sut->fwkType(), &Orphanage::kroType);
   EXPECT_TRUE(sut->info().empty());
}

TEST_F(EntityOrphanage, managersShareOneThatIsTheFrameworksSingleton)
{
   auto const one = Manager::orphanage();

   EXPECT_EQ(one, Manager::orphanage());
   EXPECT_EQ(one, Kro::Entity::singletonExists(orphanageName));
   EXPECT_EQ(one->name(), orphanageName);
   EXPECT_EQ(one->parent(), nullptr);
}

TEST_F(EntityOrphanage, eachCallGivesOneMoreReference)
{
   auto const first = Manager::orphanage();
   auto const before = first->useCount();

   auto const second = Manager::orphanage();

   EXPECT_EQ(first->useCount(), before + 1);
}

TEST_F(EntityOrphanage, infoIsAddsARecordAndThenPublishesIt)
{
   ChangeRecorder recorder(*sut->publisher());
   Info seen;
   recorder.thenDo([&](Orvo::Change const& change) {
      seen = sut->info(dynamic_cast<Kro::Entity*>(change.key.entity()));
      EXPECT_EQ(change.entity, sut.get());
   });

   sut->infoIs(entity.get(), record("a", "/a/zumem/x"));

   EXPECT_THAT(recorder.changes(), ElementsAre("info(258) x"));
   EXPECT_EQ(seen, record("a", "/a/zumem/x"));
   EXPECT_EQ(sut->info().size(), 1U);
}

TEST_F(EntityOrphanage, infoIsWithAnEqualRecordPublishesNothing)
{
   sut->infoIs(entity.get(), record("a", "/a/zumem/x"));
   ChangeRecorder const recorder(*sut->publisher());

   sut->infoIs(entity.get(), record("a", "/a/zumem/x"));

   EXPECT_THAT(recorder.changes(), IsEmpty());
   EXPECT_EQ(sut->info().size(), 1U);
}

TEST_F(EntityOrphanage, infoIsReplacesARecordThatDiffersAndPublishesIt)
{
   sut->infoIs(entity.get(), record("a", "/a/zumem/x"));
   ChangeRecorder const recorder(*sut->publisher());

   sut->infoIs(entity.get(), record("b", "/a/zumem/x"));
   sut->infoIs(entity.get(), record("b", "/b/zumem/x"));

   EXPECT_THAT(recorder.changes(), ElementsAre("info(258) x", "info(258) x"));
   EXPECT_EQ(sut->info(entity.get()), record("b", "/b/zumem/x"));
   EXPECT_EQ(sut->info().size(), 1U);
}

TEST_F(EntityOrphanage, infoIsWithADefaultRecordIsStillARecord)
{
   ChangeRecorder const recorder(*sut->publisher());

   sut->infoIs(entity.get(), Info());
   sut->infoIs(entity.get(), Info());

   EXPECT_THAT(recorder.changes(), ElementsAre("info(258) x"));
   EXPECT_TRUE(sut->info().contains(entity.get()));
}

TEST_F(EntityOrphanage, infoIsOfNoEntityIsRefused)
{
   ChangeRecorder const recorder(*sut->publisher());

   EXPECT_EQ(
      messageOf<Kro::ArgNullPointerException>([&] { sut->infoIs(nullptr, record("a", "/a")); }),
      "Memory/Entity/Manager: info cannot be null");

   EXPECT_THAT(recorder.changes(), IsEmpty());
   EXPECT_TRUE(sut->info().empty());
}

TEST_F(EntityOrphanage, recordsBelongToTheEntityAndNotToItsName)
{
   auto const namesake = Orvo::make<Kro::Dir>("x");
   sut->infoIs(entity.get(), record("a", "/a/zumem/x"));
   sut->infoIs(namesake.get(), record("b", "/b/zumem/x"));

   EXPECT_EQ(sut->info(entity.get()), record("a", "/a/zumem/x"));
   EXPECT_EQ(sut->info(namesake.get()), record("b", "/b/zumem/x"));
}

TEST_F(EntityOrphanage, infoDelRemovesAndThenPublishes)
{
   sut->infoIs(entity.get(), record("a", "/a/zumem/x"));
   ChangeRecorder recorder(*sut->publisher());
   auto isThere = true;
   recorder.thenDo([&](Orvo::Change const& change) {
      isThere = sut->info().contains(dynamic_cast<Kro::Entity*>(change.key.entity()));
   });

   auto const removed = sut->infoDel(entity.get());

   EXPECT_EQ(removed, record("a", "/a/zumem/x"));
   EXPECT_THAT(recorder.changes(), ElementsAre("info(258) x"));
   EXPECT_FALSE(isThere);
}

TEST_F(EntityOrphanage, infoDelOfAnEntityWithoutRecordGivesADefaultOneAndPublishesNothing)
{
   sut->infoIs(entity.get(), record("a", "/a/zumem/x"));
   ChangeRecorder const recorder(*sut->publisher());

   EXPECT_FALSE(static_cast<bool>(sut->infoDel(other.get())));
   EXPECT_FALSE(static_cast<bool>(sut->infoDel(nullptr)));

   EXPECT_THAT(recorder.changes(), IsEmpty());
   EXPECT_EQ(sut->info().size(), 1U);
}

TEST_F(EntityOrphanage, recordOfAnUnknownEntityIsADefaultOne)
{
   EXPECT_EQ(sut->info(entity.get()), Info());
   EXPECT_EQ(sut->info(nullptr), Info());
}

TEST_F(EntityOrphanage, infoDelAllPublishesEachRemoval)
{
   sut->infoIs(entity.get(), record("a", "/a/zumem/x"));
   sut->infoIs(other.get(), record("a", "/a/zumem/y"));
   ChangeRecorder recorder(*sut->publisher());
   std::vector<std::size_t> left;
   recorder.thenDo([&](Orvo::Change const&) { left.push_back(sut->info().size()); });

   sut->infoDelAll();

   EXPECT_THAT(recorder.changes(), UnorderedElementsAre("info(258) x", "info(258) y"));
   EXPECT_THAT(left, ElementsAre(1, 0));
}

TEST_F(EntityOrphanage, infoDelAllWithoutSubscribersEmptiesAtOnce)
{
   sut->infoIs(entity.get(), record("a", "/a/zumem/x"));
   sut->infoIs(other.get(), record("a", "/a/zumem/y"));

   sut->infoDelAll();

   EXPECT_TRUE(sut->info().empty());
   sut->infoDelAll();
   EXPECT_TRUE(sut->info().empty());
}

TEST_F(EntityOrphanage, infoDelAllGoesOnOverWhatASubscriberRemoves)
{
   sut->infoIs(entity.get(), record("a", "/a/zumem/x"));
   sut->infoIs(other.get(), record("a", "/a/zumem/y"));
   ChangeRecorder recorder(*sut->publisher());
   recorder.thenDo([&](Orvo::Change const&) {
      sut->infoDel(entity.get());
      sut->infoDel(other.get());
   });

   sut->infoDelAll();

   EXPECT_TRUE(sut->info().empty());
   EXPECT_THAT(recorder.changes(), UnorderedElementsAre("info(258) x", "info(258) y"));
}

TEST_F(EntityOrphanage, whatASubscriberThrowsPassesAndTheChangeStays)
{
   ChangeRecorder recorder(*sut->publisher());
   recorder.thenDo([](Orvo::Change const&) { throw std::runtime_error("no room"); });

   EXPECT_EQ(messageOf<std::runtime_error>([&] { sut->infoIs(entity.get(), record("a", "/a")); }), "no room");
   EXPECT_EQ(sut->info(entity.get()), record("a", "/a"));
   EXPECT_EQ(messageOf<std::runtime_error>([&] { sut->infoDel(entity.get()); }), "no room");
   EXPECT_TRUE(sut->info().empty());
}

TEST_F(EntityOrphanage, keepsNoReferenceToItsEntitiesAndLooksIntoNone)
{
   sut->infoIs(entity.get(), record("a", "/a/zumem/x"));
   EXPECT_EQ(entity->useCount(), 1U);
   Kro::Entity const* const gone = entity.get();

   entity = nullptr;

   EXPECT_EQ(sut->infoDel(gone), record("a", "/a/zumem/x"));
}

TEST_F(EntityOrphanage, goesWithItsRecordsAndPublishesNothing)
{
   sut->infoIs(entity.get(), record("a", "/a/zumem/x"));
   ChangeRecorder const recorder(*sut->publisher());

   sut = nullptr;

   EXPECT_THAT(recorder.changes(), IsEmpty());
}

TEST_F(EntityOrphanage, isTracked)
{
   auto const before = Orphanage::memAllocationTracker_.liveCount();

   auto more = Orvo::make<Orphanage>("more");
   EXPECT_EQ(Orphanage::memAllocationTracker_.liveCount(), before + 1);

   more = nullptr;
   EXPECT_EQ(Orphanage::memAllocationTracker_.liveCount(), before);
}

} // namespace
