#include <Kro/Entity.h>

#include <Kro/Dir.h>
#include <Kro/Exception.h>
#include <Kro/KroModule.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string>

namespace Kro {
namespace {

/// The living singletons. A plain list, so that it also answers while and after static objects are destroyed.
struct Singleton {
   Entity* entity;
   Singleton* next;
};

constinit Singleton* singletons = nullptr;

} // namespace

Entity::Entity(Orvo::String const& name) : publisher_(*this), name_(name) {}

Entity::~Entity()
{
   nodeFlagSet(flagDeleteOnLastUser, false);
   if (!isSingleton_) {
      return;
   }
   auto** link = &singletons;
   while ((*link)->entity != this) {
      link = &(*link)->next;
   }
   std::unique_ptr<Singleton> const mine(*link);
   *link = mine->next;
}

void Entity::handleParent() noexcept {}

void Entity::parentIs(Dir* parent) noexcept
{
   parent_ = parent;
   publisher_.parentIs(parent != nullptr ? parent->publisher() : nullptr);
   handleParent();
}

Orvo::String Entity::fullName() const
{
   // Twice up: for the size, and to write the names from the last to the first.
   std::size_t size = name_.size();
   for (auto const* above = parent_; above != nullptr; above = above->parent_) {
      size += above->name_.size() + 1;
   }
   std::array<char, 256> usual; // uninitialised; enough for most
   std::string large;
   auto* text = usual.data();
   if (size > usual.size()) {
      large.resize(size);
      text = large.data();
   }
   auto* at = text + size;
   for (Entity const* entity = this; entity != nullptr; entity = entity->parent_) {
      at -= entity->name_.size();
      std::memcpy(at, entity->name_.data(), entity->name_.size());
      // The root's own name is empty, so that a name in the tree starts with "/".
      if (entity->parent_ != nullptr) {
         *--at = '/';
      }
   }
   return {text, size};
}

Orvo::Ptr<Entity> Entity::singletonExists(Orvo::String const& name)
{
   for (auto const* one = singletons; one != nullptr; one = one->next) {
      if (one->entity->name() == name && !one->entity->isBeingDestroyed()) {
         return one->entity;
      }
   }
   return nullptr;
}

Orvo::Ptr<Entity> Entity::singletonIs(KroModule const& module, int flags, Orvo::String const& name)
{
   if (auto existing = singletonExists(name)) {
      return existing;
   }
   auto const type = std::find_if(
      module.types.begin(), module.types.end(), [&](KroType const* one) { return one->name == name.view(); });
   if ((flags & 1) == 0 || type == module.types.end() || (*type)->make == nullptr) {
      return nullptr;
   }
   auto entry = std::make_unique<Singleton>();
   auto entity = (*type)->make(name);
   if (entity->name() != name) {
      return nullptr; // it could never be found
   }
   entity->isSingleton_ = true;
   *entry = {entity.get(), singletons};
   singletons = entry.release();
   return entity;
}

Orvo::Ptr<Entity> Entity::singleton(Orvo::String const& name)
{
   if (auto existing = singletonExists(name)) {
      return existing;
   }
   throw EntityNotFoundException(Orvo::join("no singleton is named '", name, "'"));
}

} // namespace Kro
