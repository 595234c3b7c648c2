#pragma once

#include <Kro/HashMap.h>
#include <Kro/HashSet.h>
#include <Kro/OrderedEntities.h>
#include <Kro/OrderedMap.h>

#include <Orvo/Ptr.h>
#include <Orvo/String.h>

#include <array>
#include <cstdint>
#include <limits>
#include <string>

/// One description for each kind of collection, so that one suite of tests runs over all of them. A test speaks of
/// elements by small numbers; `key(number)` is what the collection knows them by.
namespace Kro::Test {

constexpr int elementCount = 400; ///< numbers are 0 to elementCount - 1

/// A value that counts how many of its like exist.
class Witness {
public:
   static inline int live = 0;

   Witness(int theNumber, int theContent) : number(theNumber), content(theContent) { ++live; }

   Witness(Witness const& other) : number(other.number), content(other.content) { ++live; }

   Witness& operator=(Witness const&) = default;

   ~Witness() { --live; }

   friend bool operator==(Witness const&, Witness const&) = default;

   int number;
   int content;
};

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

// The kinds of keys of hash collections.

/// Up to 15 characters, which texts keep in place.
struct ShortText {
   using Key = Orvo::String;

   static Key key(int number) { return Orvo::String("k" + std::to_string(number)); }
};

/// Longer texts, which live in a shared block.
struct LongText {
   using Key = Orvo::String;

   static Key key(int number) { return Orvo::String("a name of forty characters, number " + std::to_string(number)); }
};

struct Address {
   using Key = int const*;
   static inline std::array<int, elementCount> objects{};

   static Key key(int number) { return &objects[static_cast<std::size_t>(number)]; }
};

/// All keys have one of three hashes, the smallest and the greatest possible among them.
struct Colliding {
   struct Key {
      std::string text;

      std::uint64_t hash() const noexcept
      {
         constexpr std::array<std::uint64_t, 3> hashes{
            0, std::numeric_limits<std::uint64_t>::max(), 0x8000000000000000};
         return hashes[static_cast<unsigned char>(text.back()) % hashes.size()];
      }

      friend bool operator==(Key const&, Key const&) = default;
      friend auto operator<=>(Key const&, Key const&) = default;
   };

   static Key key(int number) { return {"a text too long to be kept in place " + std::to_string(number)}; }
};

struct HN_Test;

template <class KeyKind>
struct HashKindBase {
   using Key = typename KeyKind::Key;
   static constexpr bool isOrdered = false;
   static constexpr bool isCopyable = true;
   static constexpr bool isComparedByValue = true;

   static Key key(int number) { return KeyKind::key(number); }

   static bool isBefore(int a, int b)
   {
      auto const x = key(a);
      auto const y = key(b);
      auto const hashX = HashMapKey<Key>::hash(x);
      auto const hashY = HashMapKey<Key>::hash(y);
      return hashX != hashY ? hashX < hashY : HashMapKey<Key>::less(x, y);
   }

   static std::uint64_t liveNodes() { return HashMapGeneric::memAllocationTracker_.liveCount(); }
};

template <class KeyKind>
struct HashMapKind : HashKindBase<KeyKind> {
   using Collection = HashMap<HN_Test, typename KeyKind::Key, Witness>;
   static constexpr bool hasValues = true;

   static void put(Collection& collection, int number, int content)
   {
      collection.is(KeyKind::key(number), Witness(number, content));
   }

   static int contentOf(Witness const& value) { return value.content; }
};

/// The value holds the key.
struct Named : Witness {
   Named(int theNumber, int theContent) : Witness(theNumber, theContent), name(LongText::key(theNumber)) {}

   friend bool operator==(Named const&, Named const&) = default;

   Orvo::String name;
};

struct NameOf {
   Orvo::String const& operator()(Named const& value) const { return value.name; }
};

struct HashMapNamedKind : HashKindBase<LongText> {
   using Collection = HashMap<HN_Test, Orvo::String, Named, NameOf>;
   static constexpr bool hasValues = true;

   static void put(Collection& collection, int number, int content) { collection.is(Named(number, content)); }

   static int contentOf(Named const& value) { return value.content; }
};

/// A live object under its own name.
class Live final {
public:
   Live(int number, int content) : value(number, content) {}

   void referenceTake() const noexcept { useCount.take(); }

   void referenceDrop() const
   {
      if (useCount.drop() == 0) {
         delete this;
      }
   }

   mutable Orvo::UseCount useCount;
   Named value;
};

struct LiveNameOf {
   Orvo::String const& operator()(Orvo::Ptr<Live> const& live) const { return live->value.name; }
};

struct HashMapPtrKind : HashKindBase<LongText> {
   using Collection = HashMap<HN_Test, Orvo::String, Orvo::Ptr<Live>, LiveNameOf>;
   static constexpr bool isComparedByValue = false; // pointers: identity
   static constexpr bool hasValues = true;

   static void put(Collection& collection, int number, int content)
   {
      collection.is(Orvo::make<Live>(number, content));
   }

   static int contentOf(Orvo::Ptr<Live> const& live) { return live->value.content; }
};

template <class KeyKind>
struct HashSetKind : HashKindBase<KeyKind> {
   using Collection = HashSet<HN_Test, typename KeyKind::Key>;
   static constexpr bool hasValues = false;

   static void put(Collection& collection, int number, int) { collection.is(KeyKind::key(number)); }

   static int contentOf(typename KeyKind::Key const&) { return 0; }
};

} // namespace Kro::Test
