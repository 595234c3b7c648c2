#include <Quorvel/Core/Memory/Entity/Destructor.h>

#include <Quorvel/Core/Memory/Entity/Manager.h>
#include <Quorvel/Core/Model/Modules.h>

#include <Kro/Dir.h>
#include <Kro/Exception.h>
#include <Orvo/Ptr.h>
#include <Quorvel/Utility/Affirm.h>

#include <utility>

namespace Quorvel::Core::Memory::Entity {
namespace {

/// Takes empty directories out of the tree, from `directory` upwards, up to `last`, which stays.
void prune(Orvo::Ptr<Kro::Dir> directory, Kro::Dir const* last)
{
   while (directory != last && directory->entity().empty()) {
      Orvo::Ptr<Kro::Dir> parent = directory->parent();
      if (parent == nullptr) {
         return;
      }
      parent->deleteEntity(Kro::fetchName(*directory));
      directory = std::move(parent);
   }
}

} // namespace

void Destructor::cleanup(Kro::Entity* entity)
{
   if (entity == nullptr) {
      Kro::throwMutatorArgNullPointerException(_Manager_3f1d6af35e273bc_kroModule, "entity");
   }
   Orvo::Ptr<Kro::Entity> kept = entity; // its directory's reference may be the last one
   auto const orphanage = Manager::orphanage();
   Utility::affirm(orphanage != nullptr);
   auto const info = orphanage->infoDel(entity);
   auto const manager = Manager::instantiate(info.sysname());
   manager->orphanDel(info.path());
   manager->infoMountDel(info.path());
   Orvo::Ptr<Kro::Dir> const directory = entity->parent();
   if (directory != nullptr) {
      directory->deleteEntity(Kro::fetchName(*entity));
      kept = nullptr; // it goes before its directories do
      prune(directory, manager->directory().get());
   }
}

} // namespace Quorvel::Core::Memory::Entity
