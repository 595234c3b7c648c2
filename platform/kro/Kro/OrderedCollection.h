#pragma once

#include <Kro/RbTreeMap.h>
#include <Kro/RbTreePosition.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <type_traits>
#include <utility>

namespace Kro {

/// What `OrderedMap` and `OrderedEntities` have in common: everything but adding, finding and taking out.
///
/// Ownership: holds one reference to each member. Moving takes the members over and leaves the source empty.
/// Threads:   const operations may run together; the caller serialises changes.
/// Iterators: survive every change, see `Iterator`. Pointers and references to elements are valid until theirs is
///            removed.
/// Cost:      looking up, adding and removing O(log n); appending ascending keys O(1) on average; `clear` O(n).
///
/// @tparam Member   what the tree links: derived from `RbTreeNode<Key>`, and counts its references
/// @tparam Element  what a walk shows: the member itself, or the type of its `value()`, which is then constant
template <class Member, class Key, class Element>
class OrderedCollection {
public:
   using key_type = Key;
   using value_type = std::remove_const_t<Element>;
   static constexpr bool isOrdered = true;

   /// Walks in ascending key order; `*at` is the element, `at.key()` the key.
   ///
   /// After any change of the collection `++` goes on at the smallest key greater than the current one, also when the
   /// current element is gone: what was added ahead is visited, what was removed is not. Comparing and `at.key()` are
   /// always allowed; `*at` needs its element still to be there. The collection itself must stay where it is.
   class Iterator {
   public:
      using iterator_category = std::forward_iterator_tag;
      using value_type = std::remove_const_t<Element>;
      using difference_type = std::ptrdiff_t;
      using pointer = Element*;
      using reference = Element&;

      Iterator() noexcept = default;

      Key const& key() const noexcept { return position_.key(); }

      Element& operator*() const noexcept
      {
         auto* const member = toMember(position_.node());
         if constexpr (isMemberTheElement) {
            return *member;
         } else {
            return member->value();
         }
      }

      Element* operator->() const noexcept { return std::addressof(**this); }

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

      /// Equal: both at the end, or both at the same key.
      friend bool operator==(Iterator const&, Iterator const&) noexcept = default;

   private:
      friend OrderedCollection;

      Iterator(RbTreeMap<Key> const& tree, RbTreeNode<Key>* node) noexcept : position_(tree, node) {}

      RbTreePosition<Key> position_;
   };

   using iterator = Iterator;
   using const_iterator = Iterator;

   std::size_t size() const noexcept { return tree_.size(); }

   bool empty() const noexcept { return tree_.empty(); }

   /// Raised by every change through this class.
   std::uint64_t version() const noexcept { return tree_.version(); }

   Iterator begin() const noexcept { return {tree_, tree_.first()}; }

   Iterator end() const noexcept { return {tree_, nullptr}; }

   /// At the smallest key that is not less than `key`.
   Iterator lowerBound(Key key) const noexcept { return {tree_, tree_.lowerBound(key)}; }

   bool contains(Key key) const noexcept { return tree_.find(key) != nullptr; }

   /// @return whether there was one
   bool erase(Key key)
   {
      auto* const found = tree_.find(key);
      if (found != nullptr) {
         remove(found);
      }
      return found != nullptr;
   }

   /// Removes the element under the key of `at`, not the end, if there still is one.
   /// @return the place after it
   Iterator erase(Iterator at)
   {
      auto* const node = at.position_.isCurrent() ? at.position_.node() : tree_.find(at.key());
      if (node != nullptr) {
         auto* const next = tree_.next(node);
         auto const versionAfter = version() + 1;
         remove(node);
         if (version() == versionAfter) [[likely]] {
            return {tree_, next};
         }
         // The destructor has changed the collection further.
      }
      return {tree_, tree_.upperBound(at.key())};
   }

   /// Removes everything, in ascending order; the destructors that it runs find the collection empty.
   void clear() noexcept { tree_.clear(Drop()); }

protected:
   static constexpr bool isMemberTheElement = std::is_same_v<Member, Element>;

   /// Gives a reference back.
   struct Drop {
      void operator()(RbTreeNode<Key>* node) const noexcept { toMember(node)->referenceDrop(); }
   };

   OrderedCollection() noexcept = default;
   OrderedCollection(OrderedCollection&& other) noexcept = default;

   /// `other` is empty afterwards.
   OrderedCollection& operator=(OrderedCollection&& other) noexcept
   {
      OrderedCollection moved(std::move(other));
      tree_.swap(moved.tree_);
      return *this;
   }

   ~OrderedCollection() { clear(); }

   static Member* toMember(RbTreeNode<Key>* node) noexcept { return static_cast<Member*>(node); }

   RbTreeMap<Key> tree_;

private:
   void remove(RbTreeNode<Key>* node)
   {
      tree_.remove(*node);
      Drop()(node);
   }
};

} // namespace Kro
