#include <Kro/Dir.h>

#include <Kro/Exception.h>
#include <Kro/KroModule.h>

#include <utility>

namespace Kro {
namespace {

constinit Dir* root = nullptr;

/// Owns the root from the load of this library to its exit handlers, which run after those of the libraries above it.
class Root {
public:
   Root() : owner_(Orvo::make<Dir>("")) { root = owner_.get(); }

   ~Root() { root = nullptr; }

   Root(Root const&) = delete;
   Root& operator=(Root const&) = delete;

private:
   Orvo::Ptr<Dir> owner_;
};

Root const rootOwner;

} // namespace

Orvo::Ptr<Dir> globalDir() noexcept
{
   return root;
}

constinit AllocTrackTypeInfo Dir::memAllocationTracker_{sizeof(Dir), "Kro::Dir"};

Dir::Dir(Orvo::String const& name) : Entity(name) {}

Dir::~Dir()
{
   nodeFlagSet(flagDeleteOnLastUser, false);
   // Directories that go with this one are emptied from the deepest upwards, since a tree may be deeper than the stack.
   Orvo::Ptr<Dir> directory(this);
   while (directory != this || !entity_.empty()) {
      if (directory->entity_.empty()) {
         auto* const above = directory->parent();
         directory = above != nullptr ? above : this;
         continue;
      }
      auto const first = *directory->entity_.begin();
      bool const isOnlyHere = first->useCount() == 2; // the directory, and `first`
      if (isOnlyHere && &first->fwkType() == &kroType) {
         auto* const below = static_cast<Dir*>(first.get());
         if (!below->entity_.empty()) {
            directory = below;
            continue;
         }
      }
      directory->entity_.erase(first->name());
      first->parentIs(nullptr);
   }
}

Orvo::Ptr<Entity> Dir::createEntity(Orvo::String const& typeName, Orvo::String const& name)
{
   if (auto existing = entity(name)) {
      return existing;
   }
   if (name.view().find('/') != std::string_view::npos) {
      throwNewEntityArgsException(typeName, name, "a name cannot hold '/'");
   }
   auto const& type = typeNode(typeName);
   if (type.make == nullptr) {
      throwNewEntityArgsException(typeName, name, "the type cannot be made from a name");
   }
   auto entity = type.make(name);
   if (entity->name() != name) {
      throwNewEntityArgsException(typeName, name, "the type gives its entities another name");
   }
   // The constructor may have created an entity of this name here; that one stays.
   if (!entity_.insert(name, entity)) {
      return this->entity(name);
   }
   Orvo::Ptr<Dir> const self(this); // whoever is told of the change may let go of this directory
   entity->parentIs(this);
   publishEntity(name);
   return entity;
}

void Dir::deleteEntity(Orvo::String const& name)
{
   auto const taken = entity_.take(name);
   if (!taken) {
      return;
   }
   Orvo::Ptr<Dir> const self(this);
   (*taken)->parentIs(nullptr);
   publishEntity((*taken)->name());
}

Orvo::Ptr<Entity> Dir::entity(Orvo::String const& name) const
{
   auto const* found = entity_.find(name);
   return found != nullptr ? *found : nullptr;
}

Orvo::Ptr<Entity> Dir::entity2Impl(std::string_view path) const
{
   auto const* directory = this;
   Orvo::Ptr<Entity> found;
   while (directory != nullptr) {
      auto const slash = path.find('/');
      found = directory->entity(path.substr(0, slash));
      if (slash == std::string_view::npos) {
         return found;
      }
      path.remove_prefix(slash + 1);
      directory = dynamic_cast<Dir const*>(found.get());
   }
   return nullptr;
}

void Dir::publishEntity(Orvo::String const& name)
{
   publisher()->publishChangeRecursive(258, "entity", name);
}

} // namespace Kro
