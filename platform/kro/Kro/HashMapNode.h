#pragma once

#include <Kro/HashMapGeneric.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <type_traits>
#include <utility>

namespace Kro {

/// How a hash collection sees its keys. A class serves as key when it has `hash()` (64 bits, evenly distributed, the
/// top ones above all), `==` and `<`.
template <class Key>
struct HashMapKey {
   static std::uint64_t hash(Key const& key) noexcept { return key.hash(); }

   static bool less(Key const& a, Key const& b) noexcept { return a < b; }
};

/// A pointer stands for the object's identity: hashed by its address.
template <class T>
struct HashMapKey<T*> {
   static std::uint64_t hash(T const* key) noexcept
   {
      // Each step is a bijection: different addresses have different hashes. The products carry the low bits upwards.
      auto hash = reinterpret_cast<std::uintptr_t>(key) * std::uint64_t{0x9e3779b97f4a7c15};
      hash ^= hash >> 32;
      return hash * std::uint64_t{0xd6e8feb86659fd93};
   }

   static bool less(T const* a, T const* b) noexcept { return std::less<>()(a, b); }
};

/// Stands for a key that is no part of the value.
struct KeyApart {};

namespace Detail {

/// Whether the key can be read from the value in place. What a pointer leads to may change behind the collection's
/// back: there the node keeps a key of its own.
template <class Value, class KeyFunktor>
constexpr bool isKeyInValue()
{
   if constexpr (std::is_same_v<KeyFunktor, KeyApart> || std::is_pointer_v<Value> || requires(Value v) {
                    v.operator->();
                 }) {
      return false;
   } else {
      return std::is_reference_v<std::invoke_result_t<KeyFunktor, Value const&>>;
   }
}

struct HashMapNodeBase : HashMapGeneric::Link {
   explicit HashMapNodeBase(std::uint64_t hashOfKey) noexcept : Link{nullptr, nullptr, hashOfKey} {}

   static void* operator new(std::size_t size) { return HashMapGeneric::allocateNode(size); }

   static void operator delete(void* node, std::size_t size) noexcept { HashMapGeneric::freeNode(node, size); }
};

} // namespace Detail

/// An element of a hash map: its links, the key and the value. `Tag` names the hook; it keeps the nodes of different
/// attributes apart as types.
template <
   class Tag, class Key, class Value, class KeyFunktor, bool keyInValue = Detail::isKeyInValue<Value, KeyFunktor>()>
struct HashMapNode : Detail::HashMapNodeBase {
   using key_type = Key;
   using mapped_type = Value;
   using Element = Value;
   static constexpr bool isKeyInElement = false;

   template <class V>
   HashMapNode(std::uint64_t hashOfKey, Key const& key, V&& value)
      : HashMapNodeBase(hashOfKey), key_(key), value_(std::forward<V>(value))
   {}

   Key const& key() const noexcept { return key_; }

   Element const& element() const noexcept { return value_; }

   Key key_;
   Value value_;
};

/// The key is read from the value.
template <class Tag, class Key, class Value, class KeyFunktor>
struct HashMapNode<Tag, Key, Value, KeyFunktor, true> : Detail::HashMapNodeBase {
   using key_type = Key;
   using mapped_type = Value;
   using Element = Value;
   static constexpr bool isKeyInElement = true;

   template <class V>
   HashMapNode(std::uint64_t hashOfKey, Key const&, V&& value)
      : HashMapNodeBase(hashOfKey), value_(std::forward<V>(value))
   {}

   Key const& key() const noexcept { return KeyFunktor()(value_); }

   Element const& element() const noexcept { return value_; }

   Value value_;
};

/// An element of a hash set.
template <class Tag, class Key>
struct HashMapNode<Tag, Key, void, KeyApart, false> : Detail::HashMapNodeBase {
   using key_type = Key;
   using mapped_type = void;
   using Element = Key;
   static constexpr bool isKeyInElement = true;

   HashMapNode(std::uint64_t hashOfKey, Key const& key) : HashMapNodeBase(hashOfKey), key_(key) {}

   Key const& key() const noexcept { return key_; }

   Element const& element() const noexcept { return key_; }

   Key key_;
};

} // namespace Kro
