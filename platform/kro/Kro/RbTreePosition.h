#pragma once

#include <Kro/RbTreeMap.h>

#include <cstdint>

namespace Kro {

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
