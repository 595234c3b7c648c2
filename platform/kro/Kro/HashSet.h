#pragma once

#include <Kro/HashMapCollection.h>

namespace Kro {

/// Keys without values: texts, or pointers to entities. See `HashMapCollection` for order, ownership, threads and cost.
template <class Tag, class Key>
class HashSet : public HashMapCollection<HashMapNode<Tag, Key, void, KeyApart, false>> {
public:
   using tag = Tag;

   HashSet() noexcept = default;

   /// Adds `key`; does nothing when it is there already.
   /// @return whether it was added
   /// @throws whatever copying the key throws, and std::bad_alloc; nothing has changed
   bool is(Key const& key)
   {
      auto const place = this->place(key);
      if (place.existing != nullptr) {
         return false;
      }
      this->insertNode(place, key);
      return true;
   }

   /// The key in the set, borrowed, or null.
   Key const* find(Key const& key) const noexcept
   {
      auto const* const node = this->findNode(key);
      return node == nullptr ? nullptr : &node->key();
   }
};

} // namespace Kro
