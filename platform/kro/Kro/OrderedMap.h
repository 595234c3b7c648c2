#pragma once

#include <Kro/OrderedNode.h>
#include <Kro/RbTreeMap.h>

#include <Orvo/Ptr.h>

#include <cstddef>
#include <iterator>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace Kro {

/// Values under integer keys, in ascending order of the keys, each in a node of its own (see `OrderedNode`).
///
///     OrderedMap<KroGroup> group;
///     group.is(3, Detail::Group{0, 10, 3});
///     for (auto at = group.begin(); at != group.end(); ++at) { use(at.key(), *at); }
///
/// Ownership: holds one reference to each node. Copying copies the values into new nodes; moving takes over the nodes.
/// Threads:   const operations may run together; the caller serialises changes.
/// Iterators: survive every change of the map, see `Iterator`. Pointers and references to values are valid until their
///            element is removed.
/// Cost:      `find`, `is`, `erase` O(log n); appending ascending keys O(1); copy, `==` and `clear` O(n).
template <class NodeType>
class OrderedMap {
public:
   using Node = NodeType;
   using key_type = typename Node::key_type;
   using mapped_type = typename Node::mapped_type;
   using value_type = mapped_type;
   static constexpr bool isOrdered = true;

   /// Walks in ascending key order; `*at` is the value, `at.key()` the key.
   ///
   /// After any change of the map `++` goes on at the smallest key greater than the current one, also when the current
   /// element is gone: what was added ahead is visited, what was removed is not. Comparing is always allowed; `*at`
   /// needs its element still to be there. The map itself must stay where it is.
   class Iterator {
   public:
      using iterator_category = std::forward_iterator_tag;
      using value_type = mapped_type;
      using difference_type = std::ptrdiff_t;
      using pointer = mapped_type const*;
      using reference = mapped_type const&;

      Iterator() noexcept = default;

      key_type const& key() const noexcept { return position_.key(); }

      reference operator*() const noexcept { return toNode(position_.node())->value(); }

      pointer operator->() const noexcept { return std::addressof(**this); }

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
      friend OrderedMap;

      Iterator(RbTreeMap<key_type> const& tree, RbTreeNode<key_type>* node) noexcept : position_(tree, node) {}

      RbTreePosition<key_type> position_;
   };

   using iterator = Iterator;
   using const_iterator = Iterator;

   OrderedMap() noexcept = default;

   /// @throws whatever copying a value throws, and std::bad_alloc
   OrderedMap(OrderedMap const& other) { tree_.cloneFrom(other.tree_, Clone(), Drop()); }

   OrderedMap(OrderedMap&& other) noexcept = default;

   /// Strong: when copying a value throws, nothing has changed.
   OrderedMap& operator=(OrderedMap const& other)
   {
      if (this != &other) {
         OrderedMap copy(other);
         tree_.swap(copy.tree_);
      }
      return *this;
   }

   /// `other` is empty afterwards.
   OrderedMap& operator=(OrderedMap&& other) noexcept
   {
      OrderedMap moved(std::move(other));
      tree_.swap(moved.tree_);
      return *this;
   }

   ~OrderedMap() { clear(); }

   std::size_t size() const noexcept { return tree_.size(); }

   bool empty() const noexcept { return tree_.empty(); }

   /// Raised by every change through this class.
   std::uint64_t version() const noexcept { return tree_.version(); }

   Iterator begin() const noexcept { return {tree_, tree_.first()}; }

   Iterator end() const noexcept { return {tree_, nullptr}; }

   /// At the smallest key that is not less than `key`.
   Iterator lowerBound(key_type key) const noexcept { return {tree_, tree_.lowerBound(key)}; }

   bool contains(key_type key) const noexcept { return tree_.find(key) != nullptr; }

   /// @return the value, borrowed, or null
   mapped_type const* find(key_type key) const noexcept { return valueOf(tree_.find(key)); }

   mapped_type* find(key_type key) noexcept { return valueOf(tree_.find(key)); }

   /// Sets the value under `key`: assigns to the one that is there, else adds a node.
   /// @return the value in the map
   /// @throws whatever copying or assigning the value throws, and std::bad_alloc; nothing was added
   template <class V = mapped_type>
   mapped_type& is(key_type key, V&& value)
   {
      auto const place = tree_.place(key);
      if (place.existing != nullptr) {
         auto& existing = toNode(place.existing)->value();
         existing = std::forward<V>(value);
         tree_.noteReplaced();
         return existing;
      }
      auto* const node = new Node(key, std::forward<V>(value));
      tree_.insert(place, *node);
      return node->value();
   }

   /// Adds a node that the caller has made, and keeps the reference. A key that exists, or a node that is a member of a
   /// map already, ends the process.
   void insert(Orvo::Ptr<Node> node)
   {
      tree_.insert(*node);
      static_cast<void>(node.release()); // the map's reference from here on
   }

   /// Removes the element and returns its value; nothing when there is none.
   std::optional<mapped_type> take(key_type key)
   {
      auto* const found = tree_.find(key);
      if (found == nullptr) {
         return std::nullopt;
      }
      tree_.remove(*found);
      auto const node = Orvo::Ptr<Node>::adopt(toNode(found));
      if constexpr (std::is_copy_constructible_v<mapped_type>) {
         if (node->useCount() != 1) {
            return std::optional<mapped_type>(std::as_const(*node).value()); // others still see the node
         }
      }
      return std::optional<mapped_type>(std::move(node->value()));
   }

   /// @return whether there was one
   bool erase(key_type key)
   {
      auto* const found = tree_.find(key);
      if (found == nullptr) {
         return false;
      }
      tree_.remove(*found);
      Drop()(found);
      return true;
   }

   /// Removes the element at `at`, not the end, if it is still there.
   /// @return the place after it
   Iterator erase(Iterator at)
   {
      auto const key = at.key();
      auto* const node = at.position_.isCurrent() ? at.position_.node() : tree_.find(key);
      if (node != nullptr) {
         tree_.remove(*node);
         Drop()(node);
      }
      return {tree_, tree_.upperBound(key)};
   }

   /// Removes everything; the destructors that it runs find the map empty.
   void clear() noexcept { tree_.clear(Drop()); }

   /// Equal: the same keys in the same order, and equal values.
   friend bool operator==(OrderedMap const& a, OrderedMap const& b)
   {
      if (a.size() != b.size()) {
         return false;
      }
      auto* x = a.tree_.first();
      for (auto* y = b.tree_.first(); y != nullptr; x = a.tree_.next(x), y = b.tree_.next(y)) {
         if (x->key() != y->key() || !(*valueOf(x) == *valueOf(y))) {
            return false;
         }
      }
      return true;
   }

private:
   static Node* toNode(RbTreeNode<key_type>* node) noexcept { return static_cast<Node*>(node); }

   static mapped_type* valueOf(RbTreeNode<key_type>* node) noexcept
   {
      return node == nullptr ? nullptr : std::addressof(toNode(node)->value());
   }

   struct Clone {
      Node* operator()(RbTreeNode<key_type> const& node) const
      {
         return new Node(node.key(), static_cast<Node const&>(node).value());
      }
   };

   struct Drop {
      void operator()(RbTreeNode<key_type>* node) const noexcept { toNode(node)->referenceDrop(); }
   };

   RbTreeMap<key_type> tree_;
};

} // namespace Kro
