#pragma once

#include <Kro/RbTreeMapGeneric.h>
#include <Kro/RbTreeNode.h>

#include <boost/intrusive/rbtree.hpp>

#include <cstddef>
#include <cstdint>
#include <utility>

namespace Kro {

/// The tree under every ordered collection: links members and finds them by key; owns none of them.
///
/// Collections are built on it (`OrderedMap`, `OrderedEntities`); nobody else needs it. Functions that look for a
/// member return null when there is none.
///
/// Threads:   const operations may run together; the caller serialises changes.
/// Cost:      O(log n), appending and stepping O(1) on average; allocates nothing.
template <class Key>
class RbTreeMap : public RbTreeMapGeneric {
   struct KeyOf {
      using type = Key;

      Key const& operator()(RbTreeNode<Key> const& node) const noexcept { return node.key(); }
   };

   using Tree = boost::intrusive::rbtree<
      RbTreeNode<Key>, boost::intrusive::base_hook<RbTreeHook>, boost::intrusive::key_of_value<KeyOf>>;

public:
   using Node = RbTreeNode<Key>;

   /// Where a key stands, or would stand. Valid until the next change.
   struct Place {
      Node* existing; ///< the member under that key, or null
      typename Tree::insert_commit_data link;
   };

   RbTreeMap() noexcept = default;

   /// Takes over the members; `other` is empty afterwards.
   RbTreeMap(RbTreeMap&& other) noexcept : tree_(std::move(other.tree_)) { ++other.version_; }

   RbTreeMap& operator=(RbTreeMap&&) = delete;

   void swap(RbTreeMap& other) noexcept
   {
      tree_.swap(other.tree_);
      ++version_;
      ++other.version_;
   }

   std::size_t size() const noexcept { return tree_.size(); }

   bool empty() const noexcept { return tree_.empty(); }

   Node* find(Key key) const noexcept { return nodeAt(tree_.find(key)); }

   Node* first() const noexcept { return nodeAt(tree_.begin()); }

   /// The member with the smallest key that is not less than `key`.
   Node* lowerBound(Key key) const noexcept { return nodeAt(tree_.lower_bound(key)); }

   /// The member with the smallest key greater than `key`.
   Node* upperBound(Key key) const noexcept { return nodeAt(tree_.upper_bound(key)); }

   /// The member after `node`, a member.
   Node* next(Node const* node) const noexcept { return nodeAt(++Tree::s_iterator_to(*node)); }

   Place place(Key key) noexcept
   {
      Place place{};
      // Ascending keys are the common order. The tree's own hint would walk down to the last member; its header knows
      // it.
      if (auto* const last = lastLink(); last != nullptr && toNode(last)->key() < key) {
         place.link.node = last;
         place.link.link_left = false;
         return place;
      }
      auto const [at, isNew] = tree_.insert_unique_check(key, place.link);
      place.existing = isNew ? nullptr : &*at;
      return place;
   }

   /// Adds `node` at the place of its key, where no member exists.
   void insert(Place const& place, Node& node) noexcept
   {
      tree_.insert_unique_commit(node, place.link);
      ++version_;
   }

   /// Adds `node`. A key that exists and a node that is a member already end the process.
   void insert(Node& node)
   {
      if (node.isMember()) [[unlikely]] {
         assertMemberTwice();
      }
      auto const where = place(node.key());
      if (where.existing != nullptr) [[unlikely]] {
         assertDupKey();
      }
      insert(where, node);
   }

   void remove(Node& node) noexcept
   {
      tree_.erase(Tree::s_iterator_to(node));
      ++version_;
   }

   /// Removes all members and then calls `dispose(Node*)` for each; what it calls finds the tree empty.
   template <class Dispose>
   void clear(Dispose dispose)
   {
      Tree members;
      members.swap(tree_);
      ++version_;
      members.clear_and_dispose(dispose);
   }

   /// Fills this empty tree with `clone(Node const&)` of each member of `other`, a `Node*`; when that throws, calls
   /// `dispose(Node*)` for those already made, and the tree stays empty.
   template <class Clone, class Dispose>
   void cloneFrom(RbTreeMap const& other, Clone clone, Dispose dispose)
   {
      tree_.clone_from(other.tree_, clone, dispose);
      ++version_;
   }

   /// The member with a replaced value counts as changed.
   void noteReplaced() noexcept { ++version_; }

private:
   using Link = typename Tree::node_ptr;

   Link lastLink() const noexcept
   {
      return empty() ? nullptr : Tree::node_traits::get_right(tree_.cend().pointed_node());
   }

   static Node* toNode(Link link) noexcept { return Tree::value_traits::to_value_ptr(link); }

   Node* nodeAt(typename Tree::const_iterator at) const noexcept
   {
      return at == tree_.cend() ? nullptr : const_cast<Node*>(&*at);
   }

   Tree tree_;
};

/// A place in a walk over a tree that survives every change of it: it keeps the key, and finds its place again by it.
///
/// After a change the walk goes on at the smallest key greater than the current one; so additions ahead are visited,
/// deleted members are not. Writes nothing but itself.
template <class Key>
class RbTreePosition {
public:
   RbTreePosition() noexcept = default;

   RbTreePosition(RbTreeMap<Key> const& tree, RbTreeNode<Key>* node) noexcept
      : tree_(&tree), node_(node), version_(tree.version())
   {
      keepKey();
   }

   /// Null at the end. A member that has been removed must not be touched any more.
   RbTreeNode<Key>* node() const noexcept { return node_; }

   /// Valid also when the member has been removed.
   Key const& key() const noexcept { return key_; }

   /// Whether the tree is unchanged since the position was taken.
   bool isCurrent() const noexcept { return version_ == tree_->version(); }

   /// To the next member; not from the end.
   void advance() noexcept
   {
      if (isCurrent()) [[likely]] {
         node_ = tree_->next(node_);
      } else {
         // The member may be gone: only its key is sure.
         node_ = tree_->upperBound(key_);
         version_ = tree_->version();
      }
      keepKey();
   }

   /// Equal: both at the end, or both at the same key.
   friend bool operator==(RbTreePosition const& a, RbTreePosition const& b) noexcept
   {
      return a.node_ == nullptr || b.node_ == nullptr ? a.node_ == b.node_ : a.key_ == b.key_;
   }

private:
   void keepKey() noexcept
   {
      if (node_ != nullptr) {
         key_ = node_->key();
      }
   }

   RbTreeMap<Key> const* tree_ = nullptr;
   RbTreeNode<Key>* node_ = nullptr;
   std::uint64_t version_ = 0;
   Key key_{};
};

} // namespace Kro
