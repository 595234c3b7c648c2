#pragma once

#include <Kro/RbTreeMapGeneric.h>

#include <cstdint>
#include <type_traits>

namespace Kro {

template <class Key>
class RbTreeMap;

/// What makes an object a member of an ordered collection: the tree's links and the key.
///
/// Links and key stand together in this base, so that there is one tree for each type of key, not for each type of
/// element. An object is a member of at most one collection at a time.
template <class Key>
class RbTreeNode {
   static_assert(std::is_same_v<Key, std::int32_t> || std::is_same_v<Key, std::uint32_t>);

public:
   using key_type = Key;

   explicit RbTreeNode(Key key) noexcept : key_(key) {}

   RbTreeNode(RbTreeNode const&) = delete;
   RbTreeNode& operator=(RbTreeNode const&) = delete;

   /// Ends the process if it still is a member: the collection would lead into freed memory.
   ~RbTreeNode()
   {
      if (isMember()) [[unlikely]] {
         RbTreeMapGeneric::assertMemberDestroyed();
      }
   }

   Key const& key() const noexcept { return key_; }

   /// Whether it is a member of a collection.
   bool isMember() const noexcept { return link_.isLinked(); }

private:
   friend RbTreeMap<Key>;

   RbTreeMapGeneric::Link link_; // first, so that its address is the node's
   Key key_;
};

} // namespace Kro
