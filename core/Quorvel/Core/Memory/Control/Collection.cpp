#include <Quorvel/Core/Memory/Control/Collection.h>

#include <Quorvel/Core/Model/Modules.h>

#include <Kro/Exception.h>
#include <Orvo/Assert.h>
#include <Quorvel/Utility/Raise.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

namespace Quorvel::Core::Memory::Control {
namespace {

[[noreturn]] void refuse(char const* attribute, std::uint32_t existing, std::uint32_t asked, Orvo::String const& member)
{
   Kro::throwMutatorReinstantiating(_Collection_d95037a923a29d5_kroModule, attribute, existing, asked, member);
}

Detail::Attribute const& known(Collection::Attributes const& attributes, std::int32_t id)
{
   auto const* const found = attributes.find(id);
   ORVO_ASSERT(found != nullptr, "the attribute id is known");
   return *found;
}

std::uint64_t busAddress(std::pair<Detail::Chunk*, std::uint32_t> const& place)
{
   auto const [chunk, offset] = place;
   if (chunk->isIncapableDma()) [[unlikely]] {
      return 0;
   }
   return chunk->addressBus() + offset;
}

std::uint64_t virtualAddress(std::pair<Detail::Chunk*, std::uint32_t> const& place)
{
   auto const [chunk, offset] = place;
   return chunk->addressVirtual() + offset;
}

} // namespace

constinit Kro::AllocTrackTypeInfo Collection::memAllocationTracker_{
   sizeof(Collection), "Quorvel::Core::Memory::Control::Collection"};
constinit Kro::AllocTrackTypeInfo Collection::KroGroup::memAllocationTracker_{
   sizeof(KroGroup), "Quorvel::Core::Memory::Control::Collection::KroGroup"};

Orvo::Ptr<Collection::KroGroup> Collection::KroGroup::groupIs(std::uint32_t id, std::uint32_t head, std::uint32_t size)
{
   return Orvo::make<KroGroup>(id, Orvo::make<Detail::Group>(id, head, size));
}

Collection::~Collection()
{
   nodeFlagSet(flagDeleteOnLastUser, false);
   attribute_.clear();
   group_.clear();
}

Detail::Attribute* Collection::attribute(std::int32_t id) const
{
   return attribute_.find(id);
}

Orvo::Ptr<Detail::Attribute> Collection::attributeIs(std::int32_t id, std::uint32_t size)
{
   if (auto* existing = attribute(id)) {
      if (existing->size() != size) {
         refuse("size", existing->size(), size, Orvo::String("attribute ") + Orvo::String(std::to_string(id)));
      }
      return existing;
   }
   auto attribute = Orvo::make<Detail::Attribute>(id, size);
   attribute_.insert(attribute);
   return attribute;
}

void Collection::attributesIs(Kro::KroType const& entryType)
{
   for (Kro::TypeData const* type = &entryType; type != nullptr; type = type->base) {
      for (auto const& field : type->attrs) {
         if (field.kind == Kro::Kind::value) {
            attributeIs(field.number, field.size);
         }
      }
   }
}

Orvo::Ptr<Detail::Attribute> Collection::attributeDel(std::int32_t id)
{
   return attribute_.take(id);
}

Collection::Attributes::const_iterator Collection::attributeDel(Attributes::const_iterator at)
{
   return attribute_.erase(at);
}

void Collection::attributeDelAll()
{
   attribute_.clear();
}

Detail::Group* Collection::group(std::uint32_t id) const
{
   auto const* found = group_.findFromLast(id);
   return found != nullptr ? found->get() : nullptr;
}

Orvo::Ptr<Detail::Group> Collection::groupIs(std::uint32_t id, std::uint32_t head, std::uint32_t size)
{
   if (auto* existing = group(id)) {
      if (existing->head() != head) {
         refuse("head", existing->head(), head, Orvo::join("group ", id));
      }
      if (existing->size() != size) {
         refuse("size", existing->size(), size, Orvo::join("group ", id));
      }
      return existing;
   }
   auto node = KroGroup::groupIs(id, head, size);
   auto group = node->value();
   group_.insert(std::move(node));
   return group;
}

Orvo::Ptr<Detail::Group> Collection::groupDel(std::uint32_t id)
{
   return group_.take(id).value_or(nullptr);
}

Collection::Groups::const_iterator Collection::groupDel(Groups::const_iterator at)
{
   return group_.erase(at);
}

void Collection::groupDelAll()
{
   group_.clear();
}

void Collection::synchronizerIs(std::function<void(std::uint32_t)> synchronizer)
{
   synchronizer_ = std::make_shared<std::function<void(std::uint32_t)> const>(std::move(synchronizer));
}

Detail::Attribute const& Collection::denseAttribute(std::int32_t id, std::size_t size) const
{
   auto const& dense = known(attribute_, id);
   auto const name = [id] { return "attribute=" + std::to_string(id); };
   if (offsetter_ != nullptr) {
      Utility::raise(std::invalid_argument(name() + " has no runs: the collection has an offsetter."));
   }
   if (size != 0 && size != dense.size()) {
      Utility::raise(std::invalid_argument(
         name() + " has size=" + std::to_string(dense.size()) + ", but runs with size=" + std::to_string(size) +
         " are asked for."));
   }
   return dense;
}

std::pair<Detail::Chunk*, std::uint32_t> Collection::lookUpQuickly(std::int32_t attribute, std::uint32_t index) const
{
   auto const* const found = attribute_.find(attribute);
   return found != nullptr ? found->lookUpQuickly(index, offsetter_) : std::pair<Detail::Chunk*, std::uint32_t>();
}

std::pair<Detail::Chunk*, std::uint32_t> Collection::lookUp(std::int32_t attribute, std::uint32_t index) const
{
   return known(attribute_, attribute).lookUp(index, offsetter_);
}

std::uint64_t Collection::addressBus(std::int32_t attribute, std::uint32_t index) const
{
   auto const place = lookUpQuickly(attribute, index);
   return busAddress(place.first != nullptr ? place : lookUp(attribute, index));
}

std::uint64_t Collection::addressVirtual(std::int32_t attribute, std::uint32_t index) const
{
   auto const place = lookUpQuickly(attribute, index);
   return virtualAddress(place.first != nullptr ? place : lookUp(attribute, index));
}

void Collection::reset(std::uint32_t index) const
{
   for (auto const& attribute : attribute_) {
      auto const [chunk, offset] = attribute.lookUp(index, offsetter_);
      std::memset(reinterpret_cast<void*>(chunk->addressVirtual() + offset), 0, attribute.size());
   }
}

void Collection::synchronizeAll() const
{
   // The synchronizer may set another one, or let go of this collection, or of the group at hand: all are kept.
   Orvo::Ptr<Collection const> const self(this);
   auto const synchronizer = synchronizer_;
   for (auto const& held : group_) {
      auto const group = held;
      // 32-bit wrap intended: a group whose end wraps is skipped.
      std::uint32_t const end = group->head() + group->size();
      for (auto index = group->head(); index < end; ++index) {
         if (synchronizer == nullptr) [[unlikely]] {
            Utility::raise(std::bad_function_call());
         }
         (*synchronizer)(index);
      }
   }
}

Orvo::String Collection::composeName(Orvo::String const& name)
{
   return Orvo::join(name, "Control");
}

} // namespace Quorvel::Core::Memory::Control
