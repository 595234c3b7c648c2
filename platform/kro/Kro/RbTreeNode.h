#pragma once

#include <boost/intrusive/set_hook.hpp>

#include <cstdint>
#include <type_traits>

namespace Kro {

/// Names the hook of ordered collections, so that an entity may have other hooks beside it.
struct RbTreeTag;

using RbTreeHook = boost::intrusive::set_base_hook<
   boost::intrusive::tag<RbTreeTag>, boost::intrusive::optimize_size<true>,
   boost::intrusive::link_mode<boost::intrusive::safe_link>>;

/// What makes an object a member of an ordered collection: the tree's links and the key.
///
/// Hook and key stand together in this base, so that there is one tree for each type of key, not for each type of
/// element. An object is a member of at most one collection at a time, and never of one when it is destroyed.
template <class Key>
class RbTreeNode : public RbTreeHook {
   static_assert(std::is_same_v<Key, std::int32_t> || std::is_same_v<Key, std::uint32_t>);

public:
   using key_type = Key;

   explicit RbTreeNode(Key key) noexcept : key_(key) {}

   RbTreeNode(RbTreeNode const&) = delete;
   RbTreeNode& operator=(RbTreeNode const&) = delete;

   Key const& key() const noexcept { return key_; }

   /// Whether it is a member of a collection.
   bool isMember() const noexcept { return this->is_linked(); }

private:
   Key key_;
};

} // namespace Kro
