#pragma once

#include <Kro/HashMapPosition.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <utility>

namespace Kro {

/// What `HashMap` and `HashSet` have in common: everything but adding and taking out.
///
/// Order:     a function of the content alone (see `HashMapGeneric`): equal content walks in equal order, however it
///            came to be; a copy walks like its original.
/// Ownership: owns its elements. Copying copies them; moving takes them over and leaves the source empty.
/// Threads:   const operations may run together; the caller serialises changes.
/// Iterators: survive every change, see `Iterator`. Pointers and references to elements are valid until theirs is
///            removed.
/// Cost:      looking up, adding and removing O(1) on average, one allocation for an element; copy, `==` and `clear`
///            O(n).
template <class NodeType>
class HashMapCollection {
protected:
   using Node = NodeType;
   using Link = HashMapGeneric::Link;

public:
   using key_type = typename Node::key_type;
   using mapped_type = typename Node::mapped_type;
   using value_type = typename Node::Element;
   using RawCursor = HashMapGeneric::RawCursor;
   static constexpr bool isOrdered = false;

   /// Walks in the collection's order; `*at` is the value (in a set the key), `at.key()` the key.
   ///
   /// After any change `++` goes on behind the current element, also when that is gone: every other element that stays
   /// in the collection is reached exactly once, what was added meanwhile may or may not be. Comparing is always
   /// allowed; `*at` and `at.key()` need their element still to be there. The collection itself must stay where it is.
   class Iterator {
   public:
      using iterator_category = std::forward_iterator_tag;
      using value_type = typename Node::Element;
      using difference_type = std::ptrdiff_t;
      using pointer = value_type const*;
      using reference = value_type const&;

      Iterator() noexcept = default;

      key_type const& key() const noexcept { return position_.node()->key(); }

      reference operator*() const noexcept { return position_.node()->element(); }

      pointer operator->() const noexcept { return std::addressof(**this); }

      Iterator& operator++()
      {
         position_.advance();
         return *this;
      }

      Iterator operator++(int)
      {
         auto before = *this;
         ++*this;
         return before;
      }

      friend bool operator==(Iterator const& a, Iterator const& b) noexcept
      {
         return a.position_.node() == b.position_.node();
      }

   private:
      friend HashMapCollection;

      Iterator(HashMapGeneric const& table, Link* link) : position_(table, link) {}

      HashMapPosition<Node> position_;
   };

   using iterator = Iterator;
   using const_iterator = Iterator;

   std::size_t size() const noexcept { return table_.size(); }

   bool empty() const noexcept { return table_.empty(); }

   /// Raised by every change through this class.
   std::uint64_t version() const noexcept { return table_.version(); }

   Iterator begin() const { return {table_, table_.first()}; }

   Iterator end() const noexcept { return {table_, nullptr}; }

   /// For walks during which nothing changes: any use after a change ends the process.
   RawCursor rawBegin() const noexcept { return {table_, table_.first()}; }

   bool contains(key_type const& key) const noexcept { return findNode(key) != nullptr; }

   /// @return whether there was one
   bool erase(key_type const& key) noexcept
   {
      auto* const node = findNode(key);
      if (node == nullptr) {
         return false;
      }
      removeNode(node);
      return true;
   }

   /// Removes the element at `at`, not the end, if it is still there.
   /// @return the place behind it
   Iterator erase(Iterator const& at)
   {
      if (auto* const node = at.position_.find()) {
         removeNode(node);
      }
      return {table_, at.position_.behind()};
   }

   /// Removes everything; the destructors that it runs find the collection empty.
   void clear() noexcept
   {
      for (auto* link = table_.release(); link != nullptr;) {
         delete static_cast<Node*>(std::exchange(link, link->next));
      }
   }

   /// Equal: as many elements, and pairwise equal keys and values in the order of iteration.
   friend bool operator==(HashMapCollection const& a, HashMapCollection const& b)
   {
      if (a.size() != b.size()) {
         return false;
      }
      auto const* y = b.table_.first();
      for (auto const* x = a.table_.first(); x != nullptr; x = x->next, y = y->next) {
         auto const& one = *static_cast<Node const*>(x);
         auto const& other = *static_cast<Node const*>(y);
         if (x->hash != y->hash || !(one.element() == other.element())) {
            return false;
         }
         if constexpr (!Node::isKeyInElement) {
            if (!(one.key() == other.key())) {
               return false;
            }
         }
      }
      return true;
   }

protected:
   /// Where a key stands, or would stand.
   struct Place {
      std::uint64_t hash;
      Node* existing; ///< null: the key is not there
      Link* next;     ///< then a new element goes before this one
   };

   HashMapCollection() noexcept = default;

   HashMapCollection(HashMapCollection const& other) : HashMapCollection()
   {
      table_.cloneFrom(
         other.table_, [](Link const& link) -> Link& { return *new Node(static_cast<Node const&>(link)); });
   }

   HashMapCollection(HashMapCollection&& other) noexcept = default;

   /// Strong: when copying an element throws, nothing has changed.
   HashMapCollection& operator=(HashMapCollection const& other)
   {
      if (this != &other) {
         HashMapCollection copy(other);
         table_.swap(copy.table_);
      }
      return *this;
   }

   HashMapCollection& operator=(HashMapCollection&& other) noexcept
   {
      HashMapCollection moved(std::move(other));
      table_.swap(moved.table_);
      return *this;
   }

   ~HashMapCollection() { clear(); }

   Node* findNode(key_type const& key) const noexcept
   {
      auto const hash = HashMapKey<key_type>::hash(key);
      for (auto* at = table_.search(hash); at != nullptr && at->hash == hash; at = at->next) {
         if (auto* const node = static_cast<Node*>(at); node->key() == key) {
            return node;
         }
      }
      return nullptr;
   }

   Place place(key_type const& key) const noexcept
   {
      auto const hash = HashMapKey<key_type>::hash(key);
      auto* at = table_.lowerBound(hash);
      for (; at != nullptr && at->hash == hash; at = at->next) {
         auto* const node = static_cast<Node*>(at);
         if (node->key() == key) {
            return {hash, node, nullptr};
         }
         if (HashMapKey<key_type>::less(key, node->key())) {
            break;
         }
      }
      return {hash, nullptr, at};
   }

   /// Adds an element made from `args` at the place of its key, where there is none.
   template <class... Args>
   Node& insertNode(Place const& place, Args&&... args)
   {
      table_.reserveOne();
      auto* const node = new Node(place.hash, std::forward<Args>(args)...);
      table_.insert(*node, place.next);
      return *node;
   }

   void removeNode(Node* node) noexcept
   {
      table_.remove(*node);
      delete node;
   }

   HashMapGeneric table_;
};

} // namespace Kro
