#include <Quorvel/Core/Memory/Entity/Manager.h>

#include <Quorvel/Core/Memory/Control/Collection.h>
#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Memory/SingletonOwner.h>
#include <Quorvel/Core/Model/Modules.h>

#include <Kro/Exception.h>
#include <Kro/GenericIf.h>
#include <Kro/TypeOf.h>
#include <KroOrvo/Impl.h>
#include <Quorvel/Utility/Affirm.h>
#include <Quorvel/Utility/Raise.h>

#include <cstring>
#include <map>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

namespace Quorvel::Core::Memory::Entity {
namespace {

constexpr char const* directoryType = "Kro::Dir";
constexpr char const* directoryName = "zumem";

using Registry = std::map<Orvo::String, Orvo::Ptr<Manager>>;

/// The registry. Never a destroyed map: the owner below clears it before it lets go.
constinit Registry* theRegistry = nullptr;

/// Keeps the registry from the first `instantiate` to the exit of the process.
class RegistryOwner {
public:
   RegistryOwner() { theRegistry = &registry_; }

   ~RegistryOwner() { theRegistry = nullptr; }

   RegistryOwner(RegistryOwner const&) = delete;
   RegistryOwner& operator=(RegistryOwner const&) = delete;

private:
   Registry registry_;
};

/// @return the directory of that name; null when there is no parent or something else has the name
Orvo::Ptr<Kro::Dir> createDir(Orvo::Ptr<Kro::Dir> const& parent, Orvo::String const& name)
{
   return parent != nullptr ? Orvo::dynamicCast<Kro::Dir>(parent->createEntity(directoryType, name)) : nullptr;
}

/// Creates or finds the directories of the path and, in the last one, the mount entity.
Orvo::Ptr<Kro::Entity> createMountEntity(Orvo::Ptr<Kro::Dir> directory, Info::Mount const& mount)
{
   Utility::affirm(directory != nullptr);
   auto const path = mount.path().view();
   std::size_t begin = 0;
   for (auto slash = path.find('/'); slash != path.npos; slash = path.find('/', begin)) {
      directory = createDir(directory, path.substr(begin, slash - begin));
      if (directory == nullptr) {
         Utility::raise(std::invalid_argument(std::string(
            Orvo::join("path='", path, "' leads through '", path.substr(0, slash), "', which is no directory."))));
      }
      begin = slash + 1;
   }
   return directory->createEntity(mount.type(), path.substr(begin));
}

/// Reads the live collection that the mounted entity carries for the described one.
Orvo::Ptr<Control::Collection> liveCollection(Kro::Entity& entity, Info::Collection const& described)
{
   auto const& attribute = entity.fwkType().attr(Control::Collection::composeName(described.name()));
   if (attribute.get != nullptr && attribute.type != Kro::typeRefOf<Orvo::Ptr<Control::Collection>>()) {
      Utility::raise(Kro::TypeException(Orvo::join(
         "attribute '", attribute.name, "' of '", entity.fullName(), "' is of type '", Kro::nameOf(attribute.type),
         "', which is no live collection")));
   }
   auto object = entity.fwkType().genericIf();
   object.voidPtrIs(static_cast<Orvo::Node*>(&entity));
   Orvo::Ptr<Control::Collection> live;
   attribute.genericIfGet(object, Kro::GenericIf::of(live));
   if (live == nullptr) {
      Utility::raise(Kro::AttrNotFoundException(
         Orvo::join("attribute '", attribute.name, "' of '", entity.fullName(), "' holds no live collection")));
   }
   return live;
}

class Builder {
public:
   Builder(Control::Detail::StoreChunk& store, bool isZeroed) : store_(store), isZeroed_(isZeroed) {}

   void build(Control::Collection& live, Info::Collection const& described)
   {
      std::uint32_t capacity = 0;
      for (auto const& group : described.group()) {
         auto const& chunks = group.chunkInternal();
         for (auto at = chunks.begin(); at != chunks.end(); ++at) {
            join(live, group, at.key(), *at);
         }
         capacity += group.size();
      }
      live.capacityIs(capacity);
      if (!isZeroed_) {
         live.synchronizeAll();
      }
   }

private:
   void join(
      Control::Collection& live, Info::Detail::Group const& group, std::int32_t number,
      Info::Detail::Chunk const& described)
   {
      auto const chunk = store_.chunkIs(described.name(), described.size(), described.isIncapableDma());
      Orvo::Ptr<Control::Detail::Attribute> const attribute = live.attribute(number);
      if (attribute == nullptr) {
         Utility::raise(Kro::AttrNotFoundException(Orvo::join(
            "the live collection has no field '", described.nameAttribute(), "', which chunk '", described.name(),
            "' of group with id=", group.id(), " is for")));
      }
      auto* const memory = reinterpret_cast<void*>(chunk->addressVirtual());
      Utility::affirm(memory != nullptr);
      if (isZeroed_) {
         // NOLINTNEXTLINE(clang-analyzer-core.NonNullParamChecker): the affirmation above throws
         std::memset(memory, 0, described.size());
      }
      attribute->groupIs(live.groupIs(group.id(), group.head(), group.size()));
      attribute->chunkIs(group.id(), chunk);
   }

   Control::Detail::StoreChunk& store_;
   bool isZeroed_;
};

} // namespace

constinit Kro::AllocTrackTypeInfo Manager::memAllocationTracker_{
   sizeof(Manager), "Quorvel::Core::Memory::Entity::Manager"};

Manager::Manager(Orvo::String const& sysname) : sysname_(sysname)
{
   initialize();
}

Manager::~Manager()
{
   nodeFlagSet(flagDeleteOnLastUser, false);
}

Orvo::Ptr<Manager> Manager::ManagerIs(Orvo::String const& name)
{
   return Orvo::make<Manager>(name);
}

Orvo::Ptr<Manager> managerFactory(Orvo::String const& name)
{
   return Manager::ManagerIs(name);
}

Orvo::Ptr<Manager> Manager::instantiate(Orvo::String const& name)
{
   static RegistryOwner const owner;
   if (theRegistry == nullptr) {
      return ManagerIs(name);
   }
   if (auto const found = theRegistry->find(name); found != theRegistry->end() && found->second != nullptr) {
      return found->second;
   }
   auto manager = ManagerIs(name);
   // Making it published in the entity tree, and who heard of it may have asked for the same manager, or ended the name.
   auto& registered = (*theRegistry)[manager->sysname()];
   if (registered == nullptr) {
      registered = std::move(manager);
   }
   return registered;
}

void Manager::initialize()
{
   Orvo::Ptr<Manager> const self(this); // whoever hears of a new directory may let go of this manager
   directory_ = createDir(createDir(Kro::globalDir(), sysname_), directoryName);
}

void Manager::mount(Info::Mount const& mount)
{
   auto const path = mount.path();
   auto const entity = lookup(path);
   if (entity == nullptr) {
      mountInternal(mount);
      return;
   }
   auto const* const given = infoMount_.find(path) == &mount ? nullptr : &mount; // null: the stored description itself
   Orvo::Ptr<Manager> const self(this); // whoever hears of the adoption may let go of this manager
   adopt(*entity);
   // Whoever heard of the adoption may have replaced or deleted it.
   auto const* const found = infoMount_.find(path);
   Info::Mount const none("", "");
   auto const& stored = found != nullptr ? *found : none;
   if (given == nullptr || *given == stored) {
      return;
   }
   Utility::raise(std::invalid_argument(std::string(Orvo::join(
      "path='", path, "' already exists with infoMount='", KroOrvo::Impl::valueToStrep(Info::Mount::kroType, &stored),
      "'."))));
}

void Manager::adopt(Kro::Entity& entity)
{
   auto const* const orphan = orphanDel(entity.fullName());
   if (orphan != nullptr) {
      Utility::affirm(orphan == &entity);
      auto const orphanage = Manager::orphanage();
      Utility::affirm(orphanage != nullptr);
      orphanage->infoDel(&entity);
   }
}

void Manager::unmount(Orvo::String const& path)
{
   auto const entity = lookup(path);
   if (entity == nullptr) {
      return;
   }
   auto const name = entity->fullName();
   if (orphan_.contains(name)) {
      return;
   }
   auto const orphanage = Manager::orphanage();
   Utility::affirm(orphanage != nullptr);
   Detail::Info info;
   info.sysnameIs(sysname_);
   info.pathIs(name);
   Orvo::Ptr<Manager> const self(this); // whoever hears of the orphan may let go of this manager
   orphanIs(name, entity.get());
   try {
      orphanage->infoIs(entity.get(), info);
   } catch (std::bad_alloc const&) {
      // An orphan without record would stay one: nobody hears of it, and unmounting again does nothing.
      if (!orphanage->info().contains(entity.get()) && orphan(name) == entity.get()) {
         orphanDel(name);
      }
      throw;
   }
}

void Manager::mountInternal(Info::Mount const& mount)
{
   if (infoMount_.find(mount.path()) == &mount) {
      // The stored description itself: what is called below may replace or delete it.
      mountInternal(Info::Mount(mount));
      return;
   }
   infoMountIs(mount);
   auto const entity = createMountEntity(directory_, mount);
   auto const store = Control::Detail::StoreChunk::instance();
   Utility::affirm(store != nullptr);
   Builder builder(*store, mount.isZeroedMemoryOnMounting());
   for (auto const& collection : mount.collectionInternal()) {
      builder.build(*liveCollection(*entity, collection), collection);
   }
}

Orvo::Ptr<Kro::Entity> Manager::lookup(Orvo::String const& path) const
{
   return directory_ != nullptr ? directory_->entity2Impl(path) : nullptr;
}

Orvo::Ptr<Kro::Entity> Manager::entify(Orvo::String const& path) const
{
   auto entity = lookup(path);
   if (entity == nullptr) {
      Utility::raise(Kro::EntityNotFoundException(Orvo::join("enity at path='", path, "' does not exist.")));
   }
   return entity;
}

Info::Mount Manager::infoMount(Orvo::String const& path) const
{
   auto const* found = infoMount_.find(path);
   return found != nullptr ? *found : Info::Mount("", "");
}

void Manager::infoMountIs(Info::Mount const& mount)
{
   infoMount_.is(mount);
}

Info::Mount Manager::infoMountDel(Orvo::String const& path)
{
   return infoMount_.take(path).value_or(Info::Mount("", ""));
}

void Manager::infoMountDelAll()
{
   infoMount_.clear();
}

Kro::Entity* Manager::orphan(Orvo::String const& name) const
{
   auto const* const found = orphan_.find(name);
   return found != nullptr ? *found : nullptr;
}

void Manager::orphanIs(Orvo::String const& name, Kro::Entity* entity)
{
   if (entity != nullptr) {
      orphan_.is(name, entity);
   } else {
      orphan_.erase(name);
   }
}

Kro::Entity* Manager::orphanDel(Orvo::String const& name)
{
   return orphan_.take(name).value_or(nullptr);
}

void Manager::orphanDelAll()
{
   orphan_.clear();
}

Orvo::Ptr<Detail::Orphanage> Manager::orphanage()
{
   using Owner = SingletonOwner<Detail::Orphanage>;
   static Owner const owner(_Manager_3f1d6af35e273bc_kroModule, "Quorvel::Core::Memory::Entity::Detail::Orphanage");
   return Owner::living();
}

Orvo::String Manager::nameDirectory() const
{
   return directoryName;
}

} // namespace Quorvel::Core::Memory::Entity
