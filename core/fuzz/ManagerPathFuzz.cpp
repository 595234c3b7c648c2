#include <Quorvel/Core/Memory/Entity/Destructor.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>

#include <Kro/Exception.h>
#include <Kro/KroModule.h>
#include <Kro/Table.h>
#include <KroOrvo/Impl.h>

#include <Orvo/Assert.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

// Mounts at any path, and then at another: each is found again under the very same text, or refused with the right words
// because of the other; both go through unmounting, adoption and cleaning up, and nothing is left in the tree. The first
// byte of the input is the length of the first path.

namespace {

using Quorvel::Core::Memory::Entity::Destructor;
using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Memory::Info::Mount;

class FuzzMount final : public Kro::Entity {
public:
   explicit FuzzMount(Orvo::String const& name) : Entity(name) {}

   ~FuzzMount() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   static Kro::KroType const kroType;

private:
   struct Declaration;

   Orvo::String note_;
};

extern Kro::KroModule module;

struct FuzzMount::Declaration {
   static constexpr auto table = Kro::table<FuzzMount, Kro::Entity>(Kro::value<300, &FuzzMount::note_>("note"));
};

constinit Kro::KroType const FuzzMount::kroType =
   Kro::entityType<FuzzMount, FuzzMount::Declaration>("FuzzMount", &module);

constexpr Kro::KroType const* types[] = {&FuzzMount::kroType};
constinit Kro::KroModule module{"ManagerPathFuzz", "core/fuzz/ManagerPathFuzz", types, {}};

Manager& manager()
{
   static auto const made = [] {
      Kro::kroModuleIs(module);
      return Manager::instantiate("fuzz");
   }();
   return *made;
}

/// Whether all pieces of `path` stand at the beginning of those of `below`, which has more.
bool leadsTo(std::string_view path, std::string_view below)
{
   return below.size() > path.size() && below.starts_with(path) && below[path.size()] == '/';
}

void checkStandsAt(std::string_view path, Mount const& description)
{
   auto const entity = manager().entify(path);
   ORVO_ASSERT(&entity->fwkType() == &FuzzMount::kroType, "the mount is found under its path");
   ORVO_ASSERT(entity->fullName() == Orvo::join("/fuzz/zumem/", path), "its full name ends with its path");
   ORVO_ASSERT(entity->name() == path.substr(path.rfind('/') + 1), "its name is the last piece");
   ORVO_ASSERT(manager().infoMount(path) == description, "its description is stored under the same path");
}

/// @return why it was refused; empty where it was mounted
std::string mount(Mount const& description)
{
   try {
      manager().mount(description);
   } catch (std::invalid_argument const& refusal) {
      return refusal.what();
   }
   return "";
}

void checkGone(std::string_view path)
{
   try {
      manager().entify(path);
      ORVO_ASSERT(false, "what was cleaned up is not found");
   } catch (Kro::EntityNotFoundException const& refusal) {
      auto const text = Orvo::join("enity at path='", path, "' does not exist.");
      ORVO_ASSERT(std::string_view(refusal.what()) == text.c_str(), "the refusal names the path");
   }
}

/// Unmounted twice, adopted back, unmounted: it is the same entity, and on record while it is an orphan.
void goRound(std::string_view path, Mount const& description)
{
   auto const entity = manager().entify(path);
   auto const orphanage = Manager::orphanage();
   for (int round = 0; round < 2; ++round) {
      mount(description);
      ORVO_ASSERT(manager().orphan().empty() && orphanage->info().empty(), "what is mounted is no orphan");
      manager().unmount(path);
      manager().unmount(path);
      checkStandsAt(path, description);
      ORVO_ASSERT(manager().orphan(entity->fullName()) == entity.get(), "the manager knows the orphan");
      ORVO_ASSERT(orphanage->info(entity.get()).path() == entity->fullName(), "the orphanage has its full name");
      ORVO_ASSERT(orphanage->info().size() == 1, "there is one record of it");
   }
}

void cleanUp(std::string_view path)
{
   Destructor::cleanup(manager().entify(path).get());
   checkGone(path);
   ORVO_ASSERT(manager().orphan().empty() && Manager::orphanage()->info().empty(), "nobody knows it any more");
}

/// What the second mount is answered with while the first stands.
std::string refusalOf(std::string_view first, std::string_view second)
{
   if (leadsTo(first, second)) {
      return Orvo::join("path='", second, "' leads through '", first, "', which is no directory.").c_str();
   }
   if (leadsTo(second, first)) {
      Mount const none("", "");
      auto const text = KroOrvo::Impl::valueToStrep(Mount::kroType, &none);
      return Orvo::join("path='", second, "' already exists with infoMount='", text, "'.").c_str();
   }
   return "";
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
   if (size == 0) {
      return 0;
   }
   std::string_view const text(reinterpret_cast<char const*>(data) + 1, size - 1);
   auto const first = text.substr(0, data[0]);
   auto const second = text.substr(first.size());
   Mount const firstDescription(first, "FuzzMount");
   Mount const secondDescription(second, "FuzzMount");
   checkGone(first);
   manager().unmount(first);

   ORVO_ASSERT(mount(firstDescription).empty(), "an empty tree takes any path");
   auto const refusal = refusalOf(first, second);
   ORVO_ASSERT(mount(secondDescription) == refusal, "a second path is refused for the first one's sake alone");
   checkStandsAt(first, firstDescription);
   goRound(first, firstDescription);
   cleanUp(first);
   if (refusal.empty() && first != second) {
      checkStandsAt(second, secondDescription);
   } else {
      ORVO_ASSERT(manager().directory()->entity().empty(), "what was refused has left nothing in the tree");
      ORVO_ASSERT(mount(secondDescription).empty(), "and stands in nobody's way");
   }
   goRound(second, secondDescription);
   cleanUp(second);
   ORVO_ASSERT(manager().directory()->entity().empty(), "no directory is left of either path");
   ORVO_ASSERT(manager().infoMount(first) == firstDescription, "the descriptions stay");
   manager().infoMountDelAll();
   return 0;
}
