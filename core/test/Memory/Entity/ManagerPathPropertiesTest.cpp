// Random calls on a manager, with paths that meet each other all the time, and the same on a model of it. The seed of a
// failure is in its trace.

#include "Memory/Info/Random.h"
#include "support/MemoryTest.h"
#include "support/MessageOf.h"
#include "support/TestMount.h"

#include <Quorvel/Core/Memory/Entity/Destructor.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>

#include <Kro/Exception.h>
#include <KroOrvo/Impl.h>

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Quorvel::Core::Memory::Entity::Destructor;
using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Memory::Info::Mount;
using Quorvel::Core::Test::describeBuffer;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::Random;
using Quorvel::Core::Test::TestMount;

constexpr char const* succeeded = "no exception";

/// One to four pieces, of few kinds: the empty one, short and long ones, such as mean something elsewhere, one with a NUL.
std::string anyPath(Random& random)
{
   static std::vector<std::string> const pieces{
      "", "a", "a", "b", "..", "a piece that is not kept in place", std::string("a\0b", 3)};
   auto path = random.among(pieces);
   for (auto more = random.below(4); more > 0; --more) {
      path += "/" + random.among(pieces);
   }
   return path;
}

/// Two descriptions for each path.
Mount anyDescription(Random& random, std::string const& path)
{
   Mount description(path, "TestMount");
   if (random.once(3)) {
      description.collectionIs(describeBuffer("chunks of all"));
   }
   return description;
}

struct Model {
   std::map<std::string, bool> mounted; ///< by path: whether it is an orphan
   std::map<std::string, Mount> described;

   /// @return the mount on the way to the path; null when there is none
   std::string const* mountAbove(std::string const& path) const
   {
      for (auto const& [at, isOrphan] : mounted) {
         if (path.starts_with(at + "/")) {
            return &at;
         }
      }
      return nullptr;
   }

   bool isDirectory(std::string const& path) const
   {
      auto const below = mounted.lower_bound(path + "/");
      return below != mounted.end() && below->first.starts_with(path + "/");
   }

   Mount description(std::string const& path) const
   {
      auto const at = described.find(path);
      return at != described.end() ? at->second : Mount("", "");
   }

   /// @return the refusal's text, or `succeeded`
   std::string mount(std::string const& path, Mount const& description)
   {
      auto const at = mounted.find(path);
      if (at != mounted.end()) {
         at->second = false;
      }
      if (at != mounted.end() || isDirectory(path)) {
         auto const stored = this->description(path);
         auto const text = KroOrvo::Impl::valueToStrep(Mount::kroType, &stored);
         return description == stored
                   ? succeeded
                   : "path='" + path + "' already exists with infoMount='" + std::string(text) + "'.";
      }
      described.insert_or_assign(path, description);
      if (auto const* const above = mountAbove(path)) {
         return "path='" + path + "' leads through '" + *above + "', which is no directory.";
      }
      mounted.emplace(path, false);
      return succeeded;
   }

   /// Everything below the manager's directory, by full name.
   std::map<std::string, Kro::KroType const*> tree() const
   {
      std::map<std::string, Kro::KroType const*> all;
      for (auto const& [path, isOrphan] : mounted) {
         all.emplace("/p/zumem/" + path, &TestMount::kroType);
         for (auto slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1)) {
            all.emplace("/p/zumem/" + path.substr(0, slash), &Kro::Dir::kroType);
         }
      }
      return all;
   }
};

class EntityManagerPathProperties : public Quorvel::Core::Test::MemoryTest {
protected:
   EntityManagerPathProperties() { sut->initialize(); }

   void TearDown() override
   {
      Manager::orphanage()->infoDelAll();
      sut->orphanDelAll();
      sut->infoMountDelAll();
      MemoryTest::TearDown();
   }

   /// One random call on both: answered alike.
   void step(Random& random, Model& model) const
   {
      auto const path = anyPath(random);
      auto const isMounted = model.mounted.contains(path);
      switch (random.below(8)) {
      case 0:
         ASSERT_EQ(sut->infoMount(path), model.description(path));
         ASSERT_EQ(sut->infoMountDel(path), model.description(path));
         model.described.erase(path);
         break;
      case 1:
      case 2:
         if (isMounted || !model.isDirectory(path)) { // a directory would become an orphan with all that is in it
            sut->unmount(path);
         }
         if (isMounted) {
            model.mounted[path] = true;
         }
         break;
      case 3:
         if (isMounted && model.mounted[path]) {
            Destructor::cleanup(sut->entify(path).get());
            model.mounted.erase(path);
         }
         break;
      default: {
         auto const description = anyDescription(random, path);
         auto const expected = model.mount(path, description);
         // Of a text with a NUL an exception tells what stands before it.
         ASSERT_EQ(messageOf<std::invalid_argument>([&] { sut->mount(description); }), expected.c_str());
      }
      }
   }

   void collect(Kro::Dir const& directory, std::map<std::string, Kro::KroType const*>& all) const
   {
      for (auto const& entity : directory.entity()) {
         all.emplace(entity->fullName(), &entity->fwkType());
         if (auto const* const below = dynamic_cast<Kro::Dir*>(entity.get())) {
            collect(*below, all);
         }
      }
   }

   void expectSame(Model const& model) const
   {
      std::map<std::string, Kro::KroType const*> all;
      collect(*sut->directory(), all);
      ASSERT_EQ(all, model.tree());
      std::size_t orphans = 0;
      for (auto const& [path, isOrphan] : model.mounted) {
         auto const entity = sut->entify(path);
         ASSERT_EQ(entity->fullName(), "/p/zumem/" + path);
         ASSERT_EQ(sut->orphan(entity->fullName()), isOrphan ? entity.get() : nullptr);
         ASSERT_EQ(Manager::orphanage()->info(entity.get()).path(), isOrphan ? entity->fullName() : "");
         orphans += isOrphan ? 1 : 0;
      }
      ASSERT_EQ(sut->orphan().size(), orphans);
      ASSERT_EQ(Manager::orphanage()->info().size(), orphans);
      ASSERT_EQ(sut->infoMount().size(), model.described.size());
   }

   void expectFoundOrRefused(std::string const& path, Model const& model) const
   {
      std::string said = succeeded;
      if (!model.tree().contains("/p/zumem/" + path)) {
         said = "enity at path='" + path + "' does not exist.";
      }
      ASSERT_EQ(messageOf<Kro::EntityNotFoundException>([&] { sut->entify(path); }), said.c_str());
   }

   Orvo::Ptr<Manager> sut = Manager::instantiate("p");
};

TEST_F(EntityManagerPathProperties, randomCallsDoWhatTheyDoToAModelAlsoWhenTheyAreRefused)
{
   for (unsigned seed = 1; seed <= 20; ++seed) {
      SCOPED_TRACE("seed " + std::to_string(seed));
      Random random(seed);
      Model model;

      for (int i = 0; i < 200; ++i) {
         ASSERT_NO_FATAL_FAILURE(step(random, model));
         ASSERT_NO_FATAL_FAILURE(expectSame(model));
         ASSERT_NO_FATAL_FAILURE(expectFoundOrRefused(anyPath(random), model));
      }
      for (auto const& [path, isOrphan] : model.mounted) {
         sut->unmount(path);
         Destructor::cleanup(sut->entify(path).get());
      }
      ASSERT_TRUE(sut->directory()->entity().empty());
      sut->infoMountDelAll();
   }
}

} // namespace
