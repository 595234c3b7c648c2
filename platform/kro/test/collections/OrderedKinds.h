#pragma once

#include "Witness.h"

#include <Kro/OrderedEntities.h>
#include <Kro/OrderedMap.h>

#include <Orvo/Ptr.h>

#include <cstdint>
#include <type_traits>

/// The kinds of ordered collections.
namespace Kro::Test {

template <class Key>
class KroWitness final : public OrderedNode<KroWitness<Key>, Key, Witness> {
public:
   using OrderedNode<KroWitness<Key>, Key, Witness>::OrderedNode;
   static AllocTrackTypeInfo memAllocationTracker_;
};

template <class Key>
constinit AllocTrackTypeInfo KroWitness<Key>::memAllocationTracker_{sizeof(KroWitness<Key>), "KroWitness"};

template <class KeyType>
struct OrderedMapKind {
   using Key = KeyType;
   using Collection = OrderedMap<KroWitness<Key>>;
   static constexpr bool isOrdered = true;
   static constexpr bool isCopyable = true;
   static constexpr bool isComparedByValue = true;
   static constexpr bool hasValues = true;

   static Key key(int number)
   {
      // On both sides of the place where a mistaken signedness would show.
      constexpr Key middle = std::is_signed_v<Key> ? Key{0} : static_cast<Key>(0x80000000);
      return middle + static_cast<Key>(number) - elementCount / 2;
   }

   static bool isBefore(int a, int b) { return a < b; }

   static void put(Collection& collection, int number, int content)
   {
      collection.is(key(number), Witness(number, content));
   }

   static int contentOf(Witness const& value) { return value.content; }

   static std::uint64_t liveNodes() { return KroWitness<Key>::memAllocationTracker_.liveCount(); }
};

class Thing final : public RbTreeNode<std::int32_t>, public SlabAllocated<Thing> {
public:
   static AllocTrackTypeInfo memAllocationTracker_;

   Thing(std::int32_t key, int number, int content) : RbTreeNode(key), value(number, content) {}

   void referenceTake() const noexcept { useCount.take(); }

   void referenceDrop() const
   {
      if (useCount.drop() == 0) {
         delete this;
      }
   }

   mutable Orvo::UseCount useCount;
   Witness value;
};

inline constinit AllocTrackTypeInfo Thing::memAllocationTracker_{sizeof(Thing), "Thing"};

struct OrderedEntitiesKind {
   using Key = std::int32_t;
   using Collection = OrderedEntities<Thing, Key>;
   static constexpr bool isOrdered = true;
   static constexpr bool isCopyable = false;
   static constexpr bool isComparedByValue = false;
   static constexpr bool hasValues = true;

   static Key key(int number) { return number - elementCount / 2; }

   static bool isBefore(int a, int b) { return a < b; }

   static void put(Collection& collection, int number, int content)
   {
      if (auto* const thing = collection.find(key(number))) {
         thing->value = Witness(number, content);
      } else {
         collection.insert(Orvo::make<Thing>(key(number), number, content));
      }
   }

   static int contentOf(Thing const& thing) { return thing.value.content; }

   static std::uint64_t liveNodes() { return Thing::memAllocationTracker_.liveCount(); }
};

} // namespace Kro::Test
