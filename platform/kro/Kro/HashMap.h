#pragma once

#include <Kro/HashMapCollection.h>

#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace Kro {

/// Values under keys that are hashed: texts, or pointers to entities. See `HashMapCollection` for order, ownership,
/// threads and cost.
///
///     struct HN_Chunk;
///     struct NameAttributeOf {
///        Orvo::String const& operator()(Chunk const& chunk) const { return chunk.nameAttribute; }
///     };
///     HashMap<HN_Chunk, Orvo::String, Chunk, NameAttributeOf> chunk;
///     chunk.is(Chunk{…});
///
/// @tparam Tag         names the hook of the nodes; an empty type, one per attribute
/// @tparam KeyFunktor  gives the key that is part of a value. When it returns a reference, and the value is no pointer,
///                     the key is not stored a second time. `KeyApart`: the key is no part of the value.
///
/// With a KeyFunktor a value whose key differs from the one under which it is stored ends the process, what `find` gives
/// must keep its key, and equal values have equal keys.
template <class Tag, class Key, class Value, class KeyFunktor = KeyApart>
class HashMap : public HashMapCollection<HashMapNode<Tag, Key, Value, KeyFunktor>> {
   using Base = HashMapCollection<HashMapNode<Tag, Key, Value, KeyFunktor>>;
   using typename Base::Node;
   static constexpr bool hasKeyFunktor = !std::is_same_v<KeyFunktor, KeyApart>;

public:
   using tag = Tag;

   HashMap() noexcept = default;

   /// @return the value, borrowed, or null
   Value const* find(Key const& key) const noexcept { return valueOf(this->findNode(key)); }

   Value* find(Key const& key) noexcept { return valueOf(this->findNode(key)); }

   /// Sets the value under `key`: assigns to the one that is there, which keeps its place, else adds an element.
   /// @return the value in the map; not to be used when the old value's destructor removes the key
   /// @throws whatever copying or assigning the value throws, and std::bad_alloc; nothing was added
   template <class V = Value>
   Value& is(Key const& key, V&& value)
   {
      checkKey(key, value);
      auto const place = this->place(key);
      if (place.existing != nullptr) {
         return replace(place.existing->value_, Value(std::forward<V>(value)));
      }
      return this->insertNode(place, key, std::forward<V>(value)).value_;
   }

   /// Like above, under the value's own key.
   template <class V = Value>

   requires hasKeyFunktor Value& is(V&& value)
   {
      auto const place = this->place(KeyFunktor()(value));
      if (place.existing != nullptr) {
         return replace(place.existing->value_, Value(std::forward<V>(value)));
      }
      return this->insertNode(place, KeyFunktor()(value), std::forward<V>(value)).value_;
   }

   /// Adds an element; does nothing when the key is there already.
   /// @return whether it was added
   template <class V = Value>
   bool insert(Key const& key, V&& value)
   {
      checkKey(key, value);
      auto const place = this->place(key);
      if (place.existing != nullptr) {
         return false;
      }
      this->insertNode(place, key, std::forward<V>(value));
      return true;
   }

   /// Removes the element and returns its value; nothing when there is none.
   std::optional<Value> take(Key const& key)
   {
      auto* const found = this->findNode(key);
      if (found == nullptr) {
         return std::nullopt;
      }
      this->table_.remove(*found);
      std::unique_ptr<Node> const node(found);
      return std::optional<Value>(std::move(node->value_));
   }

private:
   Value& replace(Value& existing, Value&& value)
   {
      this->table_.noteReplaced();
      // The old value dies last, by itself: its destructor may change this map.
      [[maybe_unused]] Value const old = std::exchange(existing, std::move(value));
      return existing;
   }

   static Value* valueOf(Node* node) noexcept { return node == nullptr ? nullptr : std::addressof(node->value_); }

   template <class V>
   static void checkKey([[maybe_unused]] Key const& key, [[maybe_unused]] V const& value)
   {
      if constexpr (hasKeyFunktor) {
         Orvo::assertThat(key == KeyFunktor()(value), "fwkKey() == KeyFunktor()( _value )");
      }
   }
};

} // namespace Kro
