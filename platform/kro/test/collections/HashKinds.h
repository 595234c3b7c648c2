#pragma once

#include "Witness.h"

#include <Kro/HashMap.h>
#include <Kro/HashSet.h>

#include <Orvo/Ptr.h>
#include <Orvo/String.h>

#include <array>
#include <cstdint>
#include <limits>
#include <string>

/// The kinds of hash collections.
namespace Kro::Test {

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
