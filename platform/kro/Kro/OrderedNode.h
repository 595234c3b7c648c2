#pragma once

#include <Kro/RbTreeNode.h>
#include <Kro/SlabAllocated.h>

#include <Orvo/UseCount.h>

#include <cstdint>
#include <utility>

namespace Kro {

/// A node of an `OrderedMap`: key, value and a reference count. The owner of the map names it:
///
///     class KroGroup final : public Kro::OrderedNode<KroGroup, std::uint32_t, Detail::Group> {
///     public:
///        using OrderedNode::OrderedNode;
///        static Kro::AllocTrackTypeInfo memAllocationTracker_;
///     };
///     Kro::OrderedMap<KroGroup> group_;
///
/// Nodes come from the slab allocator and are counted by the tracker of `Derived`, which has no members of its own.
///
/// Ownership: a new node has one reference, which `Orvo::make<KroGroup>(key, value…)` takes over.
template <class Derived, class Key, class Value>
class OrderedNode : public RbTreeNode<Key>, public SlabAllocated<Derived> {
public:
   using mapped_type = Value;

   /// @param arguments  make the value
   template <class... Arguments>
   explicit OrderedNode(Key key, Arguments&&... arguments)
      : RbTreeNode<Key>(key), value_(std::forward<Arguments>(arguments)...)
   {}

   Value& value() noexcept { return value_; }

   Value const& value() const noexcept { return value_; }

   std::uint32_t useCount() const noexcept { return useCount_.count(); }

   void referenceTake() const noexcept { useCount_.take(); }

   /// The last one deletes the node.
   void referenceDrop() const
   {
      if (useCount_.drop() == 0) {
         delete static_cast<Derived const*>(this);
      }
   }

protected:
   ~OrderedNode() = default;

private:
   mutable Orvo::UseCount useCount_;
   Value value_;
};

} // namespace Kro
