#pragma once

#include <Kro/OrderedCollection.h>
#include <Kro/OrderedNode.h>

#include <Orvo/Ptr.h>

#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace Kro {

/// Values under integer keys, in ascending order of the keys, each in a node of its own (see `OrderedNode`). See
/// `OrderedCollection` for threads, iterators and cost.
///
///     OrderedMap<KroGroup> group;
///     group.is(3, Detail::Group{0, 10, 3});
///     for (auto at = group.begin(); at != group.end(); ++at) { use(at.key(), *at); }
///
/// Ownership: holds one reference to each node. Copying copies the values into new nodes, O(n); moving takes over the
/// nodes.
template <class NodeType>
class OrderedMap
   : public OrderedCollection<NodeType, typename NodeType::key_type, typename NodeType::mapped_type const> {
   using Base = OrderedCollection<NodeType, typename NodeType::key_type, typename NodeType::mapped_type const>;
   using Base::toMember;
   using Base::tree_;
   using typename Base::Drop;

public:
   using Node = NodeType;
   using typename Base::key_type;
   using mapped_type = typename Node::mapped_type;

   OrderedMap() noexcept = default;

   /// @throws whatever copying a value throws, and std::bad_alloc
   OrderedMap(OrderedMap const& other) : Base() { tree_.cloneFrom(other.tree_, Clone(), Drop()); }

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

   OrderedMap& operator=(OrderedMap&& other) noexcept = default;
   ~OrderedMap() = default;

   /// @return the value, borrowed, or null
   mapped_type const* find(key_type key) const noexcept { return valueOf(tree_.find(key)); }

   mapped_type* find(key_type key) noexcept { return valueOf(tree_.find(key)); }

   /// Like `find`, in constant time for the greatest key and all behind it: what is asked while keys come in ascending order.
   mapped_type const* findFromLast(key_type key) const noexcept { return valueOf(tree_.findFromLast(key)); }

   /// Sets the value under `key`: assigns to the one that is there, else adds a node.
   /// @return the value in the map; not to be used when the old value's destructor removes the key
   /// @throws whatever copying or assigning the value throws, and std::bad_alloc; nothing was added
   template <class V = mapped_type>
   mapped_type& is(key_type key, V&& value)
   {
      auto const place = tree_.place(key);
      if (place.existing != nullptr) {
         auto& existing = toMember(place.existing)->value();
         tree_.noteReplaced();
         // The old value dies last, by itself: its destructor may change this map.
         [[maybe_unused]] mapped_type const old = std::exchange(existing, mapped_type(std::forward<V>(value)));
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
      auto const node = Orvo::Ptr<Node>::adopt(toMember(found));
      if constexpr (std::is_copy_constructible_v<mapped_type>) {
         if (node->useCount() != 1) {
            return std::optional<mapped_type>(std::as_const(*node).value()); // others still see the node
         }
      }
      return std::optional<mapped_type>(std::move(node->value()));
   }

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
   static mapped_type* valueOf(RbTreeNode<key_type>* node) noexcept
   {
      return node == nullptr ? nullptr : std::addressof(toMember(node)->value());
   }

   struct Clone {
      Node* operator()(RbTreeNode<key_type> const& node) const
      {
         return new Node(node.key(), static_cast<Node const&>(node).value());
      }
   };
};

} // namespace Kro
