#pragma once

#include <Kro/OrderedCollection.h>

#include <Orvo/Ptr.h>

#include <utility>

namespace Kro {

/// Entities that are themselves the nodes of an ordered collection: no allocation for a member, no second look-up. See
/// `OrderedCollection` for threads, iterators and cost.
///
///     class Attribute : public Orvo::Node, public Kro::RbTreeNode<std::int32_t> { … };
///     Kro::OrderedEntities<Attribute, std::int32_t> attribute;
///
/// Ownership: holds one reference to each member. An entity is in at most one such collection. Not copyable.
///
/// Of an iterator `*at` is the entity, which a const collection does not make const.
template <class Entity, class Key>
class OrderedEntities : public OrderedCollection<Entity, Key, Entity> {
   using Base = OrderedCollection<Entity, Key, Entity>;
   using Base::toMember;
   using Base::tree_;

public:
   using mapped_type = Entity*;

   OrderedEntities() noexcept = default;

   OrderedEntities(OrderedEntities&& other) noexcept = default;
   OrderedEntities& operator=(OrderedEntities&& other) noexcept = default;

   OrderedEntities(OrderedEntities const&) = delete;
   OrderedEntities& operator=(OrderedEntities const&) = delete;

   ~OrderedEntities() = default;

   /// @return the entity, borrowed, or null
   Entity* find(Key key) const noexcept { return toMember(tree_.find(key)); }

   /// Adds an entity under its key, and keeps the reference. A key that exists, or an entity that is a member of a
   /// collection already, ends the process.
   void insert(Orvo::Ptr<Entity> entity)
   {
      tree_.insert(*entity);
      static_cast<void>(entity.release()); // the collection's reference from here on
   }

   /// Removes the entity; null when there is none.
   Orvo::Ptr<Entity> take(Key key) noexcept
   {
      auto* const found = tree_.find(key);
      if (found == nullptr) {
         return {};
      }
      tree_.remove(*found);
      return Orvo::Ptr<Entity>::adopt(toMember(found));
   }
};

} // namespace Kro
