#pragma once

#include <Kro/RbTreeMapGeneric.h>
#include <Kro/RbTreeNode.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace Kro {

/// The tree under every ordered collection: finds members by their keys; owns none of them.
///
/// Collections are built on it (`OrderedCollection`); nobody else needs it. Functions that look for a member return
/// null when there is none.
///
/// Threads:   const operations may run together; the caller serialises changes.
/// Cost:      O(log n), appending and stepping O(1) on average; allocates nothing.
template <class Key>
class RbTreeMap : private RbTreeMapGeneric {
public:
   using Node = RbTreeNode<Key>;

   /// Where a key stands, or would stand. Valid until the next change.
   struct Place {
      Node* existing; ///< the member under that key, or null
      Link* parent;   ///< above a new one; null in an empty tree
      Side side;      ///< on this side of the parent
   };

   RbTreeMap() noexcept = default;

   /// Takes over the members; `other` is empty afterwards.
   RbTreeMap(RbTreeMap&& other) noexcept = default;

   RbTreeMap& operator=(RbTreeMap&&) = delete;
   ~RbTreeMap() = default;

   void swap(RbTreeMap& other) noexcept { RbTreeMapGeneric::swap(other); }

   using RbTreeMapGeneric::empty;
   using RbTreeMapGeneric::noteReplaced;
   using RbTreeMapGeneric::size;
   using RbTreeMapGeneric::version;

   Node* find(Key key) const noexcept
   {
      // Two branches and no computed index: what is looked up again and again is predicted, and then steps overlap.
      auto* at = root();
      while (at != nullptr) {
         auto const keyHere = keyOf(at);
         if (keyHere < key) {
            at = at->child[greater];
         } else if (key < keyHere) {
            at = at->child[smaller];
         } else {
            break;
         }
      }
      return nodeOf(at);
   }

   /// Like `find`, in constant time for the greatest key and all behind it: what is asked while members come in ascending
   /// order.
   Node* findFromLast(Key key) const noexcept
   {
      auto* const greatest = last();
      if (greatest == nullptr || keyOf(greatest) < key) {
         return nullptr;
      }
      return keyOf(greatest) == key ? nodeOf(greatest) : find(key);
   }

   Node* first() const noexcept { return nodeOf(RbTreeMapGeneric::first()); }

   /// The member with the smallest key that is not less than `key`.
   Node* lowerBound(Key key) const noexcept
   {
      return firstWhere([key](Key keyHere) { return !(keyHere < key); });
   }

   /// The member with the smallest key greater than `key`.
   Node* upperBound(Key key) const noexcept
   {
      return firstWhere([key](Key keyHere) { return key < keyHere; });
   }

   /// The member after `node`, a member.
   Node* next(Node const* node) const noexcept { return nodeOf(RbTreeMapGeneric::next(&node->link_)); }

   Place place(Key key) const noexcept
   {
      // Ascending keys are the common order.
      if (auto* const greatest = last(); greatest != nullptr && keyOf(greatest) < key) {
         return {nullptr, greatest, greater};
      }
      Link* parent = nullptr;
      auto side = smaller;
      for (auto* at = root(); at != nullptr;) {
         auto const keyHere = keyOf(at);
         parent = at;
         if (keyHere < key) {
            side = greater;
            at = at->child[greater];
         } else if (key < keyHere) {
            side = smaller;
            at = at->child[smaller];
         } else {
            return {nodeOf(at), nullptr, smaller};
         }
      }
      return {nullptr, parent, side};
   }

   /// Adds `node` at the place of its key, where no member exists.
   void insert(Place const& place, Node& node) noexcept
   {
      RbTreeMapGeneric::insert(node.link_, place.parent, place.side);
   }

   /// Adds `node`. A key that exists and a node that is a member already end the process.
   void insert(Node& node)
   {
      if (node.isMember()) [[unlikely]] {
         assertMemberTwice();
      }
      auto const where = place(node.key());
      if (where.existing != nullptr) [[unlikely]] {
         assertDupKey();
      }
      insert(where, node);
   }

   void remove(Node& node) noexcept { RbTreeMapGeneric::remove(node.link_); }

   /// Removes all members and then calls `dispose(Node*)` for each, in ascending order; what it calls finds the tree
   /// empty.
   template <class Dispose>
   void clear(Dispose dispose)
   {
      disposeTree(release(), dispose);
   }

   /// Fills this empty tree with `clone(Node const&)` of each member of `other`, a `Node*`; when that throws, calls
   /// `dispose(Node*)` for those already made, and the tree stays empty.
   template <class Clone, class Dispose>
   void cloneFrom(RbTreeMap const& other, Clone clone, Dispose dispose)
   {
      if (!other.empty()) {
         rootIs(cloneTree(other.root(), clone, dispose), other.size());
      }
   }

private:
   static Node* nodeOf(Link* link) noexcept
   {
      static_assert(std::is_standard_layout_v<Node>); // so an object and its first member have one address
      return reinterpret_cast<Node*>(link);
   }

   static Node const* nodeOf(Link const* link) noexcept { return reinterpret_cast<Node const*>(link); }

   static Key keyOf(Link const* link) noexcept { return nodeOf(link)->key_; }

   /// The first member whose key fulfils what all behind it fulfil too.
   template <class Condition>
   Node* firstWhere(Condition isFulfilled) const noexcept
   {
      Link* found = nullptr;
      for (auto* at = root(); at != nullptr;) {
         if (isFulfilled(keyOf(at))) {
            found = at;
            at = at->child[smaller];
         } else {
            at = at->child[greater];
         }
      }
      return nodeOf(found);
   }

   /// Copies the tree below `from` in the order of the keys, so that a walk over the copy goes forward through memory. Recurs
   /// as deep as the tree is.
   template <class Clone, class Dispose>
   static Link* cloneTree(Link const* from, Clone& clone, Dispose& dispose)
   {
      Link* made = nullptr; // at every step what has been made is a tree
      auto const cloneChild = [&](Side side) {
         auto const* const child = from->child[side];
         return child != nullptr ? cloneTree(child, clone, dispose) : nullptr;
      };
      auto const join = [&](Link* child, Side side) {
         if (child != nullptr) {
            child->parentIs(made, from->child[side]->colour());
            made->child[side] = child;
         }
      };
      try {
         made = cloneChild(smaller);
         auto* const below = made;
         made = &clone(*nodeOf(from))->link_;
         join(below, smaller);
         join(cloneChild(greater), greater);
      } catch (...) {
         disposeTree(made, dispose);
         throw;
      }
      return made;
   }

   /// Turns the tree into a list on the way, so that no stack is needed.
   template <class Dispose>
   static void disposeTree(Link* at, Dispose& dispose)
   {
      while (at != nullptr) {
         if (auto* const below = at->child[smaller]; below != nullptr) {
            at->child[smaller] = below->child[greater];
            below->child[greater] = at;
            at = below;
         } else {
            auto* const behind = at->child[greater];
            at->parentAndColour = 0;
            dispose(nodeOf(at));
            at = behind;
         }
      }
   }
};

} // namespace Kro
