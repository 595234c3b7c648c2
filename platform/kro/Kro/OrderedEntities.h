#pragma once

#include <Kro/RbTreeMap.h>

#include <Orvo/Ptr.h>

#include <cstddef>
#include <iterator>
#include <utility>

namespace Kro {

/// Entities that are themselves the nodes of an ordered collection: no allocation for a member, no second look-up.
///
///     class Attribute : public Orvo::Node, public Kro::RbTreeNode<std::int32_t> { … };
///     Kro::OrderedEntities<Attribute, std::int32_t> attribute;
///
/// Ownership: holds one reference to each member. An entity is in at most one such collection. Not copyable.
/// Threads:   const operations may run together; the caller serialises changes.
/// Iterators: survive every change of the collection, see `Iterator`.
/// Cost:      `find`, `insert`, `take` O(log n); appending ascending keys O(1); allocates nothing.
template <class Entity, class Key>
class OrderedEntities {
public:
   using key_type = Key;
   using mapped_type = Entity*;
   using value_type = Entity;
   static constexpr bool isOrdered = true;

   /// Like the iterator of `OrderedMap`, but `*at` is the entity, which a const collection does not make const.
   class Iterator {
   public:
      using iterator_category = std::forward_iterator_tag;
      using value_type = Entity;
      using difference_type = std::ptrdiff_t;
      using pointer = Entity*;
      using reference = Entity&;

      Iterator() noexcept = default;

      Key const& key() const noexcept { return position_.key(); }

      Entity& operator*() const noexcept { return *toEntity(position_.node()); }

      Entity* operator->() const noexcept { return toEntity(position_.node()); }

      Iterator& operator++() noexcept
      {
         position_.advance();
         return *this;
      }

      Iterator operator++(int) noexcept
      {
         auto const before = *this;
         ++*this;
         return before;
      }

      friend bool operator==(Iterator const&, Iterator const&) noexcept = default;

   private:
      friend OrderedEntities;

      Iterator(RbTreeMap<Key> const& tree, RbTreeNode<Key>* node) noexcept : position_(tree, node) {}

      RbTreePosition<Key> position_;
   };

   using iterator = Iterator;
   using const_iterator = Iterator;

   OrderedEntities() noexcept = default;

   OrderedEntities(OrderedEntities&& other) noexcept = default;

   /// `other` is empty afterwards.
   OrderedEntities& operator=(OrderedEntities&& other) noexcept
   {
      OrderedEntities moved(std::move(other));
      tree_.swap(moved.tree_);
      return *this;
   }

   OrderedEntities(OrderedEntities const&) = delete;
   OrderedEntities& operator=(OrderedEntities const&) = delete;

   ~OrderedEntities() { clear(); }

   std::size_t size() const noexcept { return tree_.size(); }

   bool empty() const noexcept { return tree_.empty(); }

   /// Raised by every change.
   std::uint64_t version() const noexcept { return tree_.version(); }

   Iterator begin() const noexcept { return {tree_, tree_.first()}; }

   Iterator end() const noexcept { return {tree_, nullptr}; }

   /// At the smallest key that is not less than `key`.
   Iterator lowerBound(Key key) const noexcept { return {tree_, tree_.lowerBound(key)}; }

   bool contains(Key key) const noexcept { return tree_.find(key) != nullptr; }

   /// @return the entity, borrowed, or null
   Entity* find(Key key) const noexcept { return toEntity(tree_.find(key)); }

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
      return Orvo::Ptr<Entity>::adopt(toEntity(found));
   }

   /// @return whether there was one
   bool erase(Key key) noexcept { return take(key) != nullptr; }

   /// Removes the entity at `at`, not the end, if it is still there.
   /// @return the place after it
   Iterator erase(Iterator at) noexcept
   {
      auto const key = at.key();
      erase(key);
      return {tree_, tree_.upperBound(key)};
   }

   /// Removes everything; the destructors that it runs find the collection empty.
   void clear() noexcept
   {
      tree_.clear([](RbTreeNode<Key>* node) { toEntity(node)->referenceDrop(); });
   }

private:
   static Entity* toEntity(RbTreeNode<Key>* node) noexcept { return static_cast<Entity*>(node); }

   RbTreeMap<Key> tree_;
};

} // namespace Kro
