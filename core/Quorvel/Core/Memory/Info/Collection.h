#pragma once

#include <Quorvel/Core/Export.h>
#include <Quorvel/Core/Memory/Info/Detail/Group.h>

#include <Kro/HashSet.h>
#include <Kro/OrderedMap.h>
#include <Orvo/String.h>

#include <cstdint>
#include <iosfwd>

namespace Quorvel::Core::Memory::Info {

/// Describes one collection of entries: which fields are backed by memory, how the entries are divided into groups, and
/// which chunk backs each field of each group.
///
/// Build it with `addNameAttribute`, `addGroup` and `createChunk`, which check, refuse a mistake with
/// std::invalid_argument and then leave the collection as it was. The plain mutators (`xIs`, `xDel`, `xDelAll`) check
/// nothing. A plain value with deep copies; `Collection("")` is the default.
///
/// Cost: adding to it O(log groups), whatever the groups hold; `group(id)` copies what the group holds; copying,
/// comparing and writing it O(all that it holds).
class QUORVEL_CORE_EXPORT Collection {
public:
   struct HN_NameAttribute {};

   class QUORVEL_CORE_EXPORT KroGroup final : public Kro::OrderedNode<KroGroup, std::uint32_t, Detail::Group> {
   public:
      using OrderedNode::OrderedNode;
      static Kro::AllocTrackTypeInfo memAllocationTracker_;
   };

   using Groups = Kro::OrderedMap<KroGroup>;
   using NameAttributes = Kro::HashSet<HN_NameAttribute, Orvo::String>;

   /// @param name the name of a collection attribute of the type that will be mounted
   explicit Collection(Orvo::String const& name) : name_(name) {}

   /// Cannot be read from text: ends the process with "No String constructor for Collection - has collection".
   explicit Collection(Kro::CharRange& text);

   Orvo::String const& name() const noexcept { return name_; }

   /// Declares a field of the entries.
   /// @throws std::invalid_argument when it is declared already
   void addNameAttribute(Orvo::String const& nameAttribute);

   /// Adds a group of `size` entries. Identifiers are dense from 0: group n needs group n - 1.
   ///
   /// @param head index of its first entry; 0 places it right after the previous group (group 0: at 0). A gap is accepted.
   /// @throws std::invalid_argument when the group exists, the previous one does not, or `head` lies before its end. Only
   ///         the previous group is looked at; group 0 may start anywhere.
   void addGroup(std::uint32_t idGroup, std::uint32_t size, std::uint32_t head);
   void addGroup(std::uint32_t idGroup, std::uint32_t size);

   /// Backs one field of one group with the memory block `name` of `size` bytes.
   /// @throws std::invalid_argument when the group does not exist, the field is not declared or has a chunk in
   ///         the group
   void createChunk(
      std::uint32_t idGroup, Orvo::String const& nameAttribute, Orvo::String const& name, std::uint32_t size,
      bool isIncapableDma);

   /// The groups, ascending by identifier.
   Groups const& group() const noexcept { return group_; }

   /// @return a copy of the group, or a default one
   Detail::Group group(std::uint32_t idGroup) const;
   /// Inserts or replaces the group under its identifier.
   void groupIs(Detail::Group group);
   /// @return the removed group, or a default one
   Detail::Group groupDel(std::uint32_t idGroup);
   /// @return the iterator behind the removed group
   Groups::const_iterator groupDel(Groups::const_iterator at);
   void groupDelAll();

   /// The declared fields, in hash order.
   NameAttributes const& nameAttribute() const noexcept { return nameAttribute_; }

   /// @return whether the field is declared
   bool nameAttribute(Orvo::String const& nameAttribute) const;
   void nameAttributeIs(Orvo::String const& nameAttribute);
   /// @return whether the field was declared
   bool nameAttributeDel(Orvo::String const& nameAttribute);
   void nameAttributeDelAll();

   /// True when this collection differs from `Collection("")`.
   explicit operator bool() const;

   /// The framework's equality hook: both point to a Collection.
   static bool isEq(void const* a, void const* b);
   friend QUORVEL_CORE_EXPORT bool operator==(Collection const& a, Collection const& b);

   Kro::TypeData const& typeData() const noexcept { return kroType; }

   static Kro::KroType const kroType;

private:
   struct Declaration;

   Groups group_;
   NameAttributes nameAttribute_;
   Orvo::String name_;
};

/// Writes the framework's text form.
QUORVEL_CORE_EXPORT std::ostream& operator<<(std::ostream& stream, Collection const& collection);

} // namespace Quorvel::Core::Memory::Info
