#pragma once

#include <Kro/HashMapNode.h>

#include <optional>

namespace Kro {

/// A place in a walk over a hash collection that survives every change of it.
///
/// After a change the walk goes on at the first element behind the current one in the order of (hash, key), also when
/// the current one is gone; every other element that stays in the collection is reached exactly once, and what was
/// added meanwhile may or may not be. It keeps the hash, and a copy of the key only where a neighbour has the same
/// hash. Writes nothing but itself.
template <class Node>
class HashMapPosition {
   using Key = typename Node::key_type;
   using Link = HashMapGeneric::Link;

public:
   HashMapPosition() noexcept = default;

   HashMapPosition(HashMapGeneric const& table, Link* link) : table_(&table), cursor_(table, link) { keepKey(); }

   /// Null at the end. An element that has been removed must not be touched any more.
   Node* node() const noexcept { return static_cast<Node*>(cursor_.link_); }

   bool isCurrent() const noexcept { return cursor_.isCurrent(); }

   /// To the next element; not from the end.
   void advance()
   {
      if (cursor_.isCurrent()) [[likely]] {
         cursor_.advance();
      } else {
         // The element may be gone: only its hash is sure, and its key where we kept it.
         cursor_ = HashMapGeneric::RawCursor(*table_, behind());
      }
      keepKey();
   }

   /// The first element behind the current one, whether that is still there or not; null when there is none.
   Link* behind() const noexcept
   {
      auto* at = table_->lowerBound(hash_);
      while (at != nullptr && at->hash == hash_ &&
             (!key_ || !HashMapKey<Key>::less(*key_, static_cast<Node*>(at)->key()))) {
         at = at->next;
      }
      return at;
   }

   /// The current element when it is still there, or null. Where no key was kept, an element that has come to the same
   /// address with the same 64-bit hash counts as it.
   Node* find() const noexcept
   {
      if (isCurrent()) {
         return node();
      }
      for (auto* at = table_->lowerBound(hash_); at != nullptr && at->hash == hash_; at = at->next) {
         if (key_ ? static_cast<Node*>(at)->key() == *key_ : at == cursor_.link_) {
            return static_cast<Node*>(at);
         }
      }
      return nullptr;
   }

private:
   void keepKey()
   {
      auto const* const link = cursor_.link_;
      if (link == nullptr) {
         return;
      }
      hash_ = link->hash;
      bool const isInRun = (link->next != nullptr && link->next->hash == hash_) ||
                           (link->previous != nullptr && link->previous->hash == hash_);
      if (isInRun) [[unlikely]] {
         key_ = static_cast<Node const*>(link)->key();
      } else {
         key_.reset();
      }
   }

   HashMapGeneric const* table_ = nullptr;
   HashMapGeneric::RawCursor cursor_;
   std::uint64_t hash_ = 0;
   std::optional<Key> key_;
};

} // namespace Kro
