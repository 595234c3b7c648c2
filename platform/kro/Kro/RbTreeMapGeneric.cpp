#include <Kro/RbTreeMapGeneric.h>

#include <Orvo/Assert.h>

#include <boost/intrusive/rbtree_algorithms.hpp>

#include <cstddef>
#include <cstdint>
#include <initializer_list>

namespace Kro {

namespace {

using Link = RbTreeMapGeneric::Link;
using enum RbTreeMapGeneric::Side;

/// How Boost's algorithms see our links.
struct LinkTraits {
   using node = Link;
   using node_ptr = node*;
   using const_node_ptr = node const*;
   using color = std::uintptr_t;

   static node_ptr get_parent(const_node_ptr link) noexcept { return link->parent(); }

   static void set_parent(node_ptr link, node_ptr parent) noexcept { link->parentIs(parent, link->colour()); }

   static node_ptr get_left(const_node_ptr link) noexcept { return link->child[smaller]; }

   static void set_left(node_ptr link, node_ptr child) noexcept { link->child[smaller] = child; }

   static node_ptr get_right(const_node_ptr link) noexcept { return link->child[greater]; }

   static void set_right(node_ptr link, node_ptr child) noexcept { link->child[greater] = child; }

   static color get_color(const_node_ptr link) noexcept { return link->colour(); }

   static void set_color(node_ptr link, color colour) noexcept { link->parentIs(link->parent(), colour); }

   static color black() noexcept { return node::black; }

   static color red() noexcept { return 0; }
};

/// What stood in `from`'s place below `parent` is `to` from now on. The header has one place only, the root's.
void replaceChild(Link& header, Link* parent, Link* from, Link* to) noexcept
{
   if (parent == &header) {
      header.parentIs(to, 0);
   } else {
      parent->child[parent->child[greater] == from ? greater : smaller] = to;
   }
}

/// `link` and its parent are both red, and nothing else is amiss: makes the tree red-black again.
///
/// Both sides are one piece of code: `side` is where the parent stands below the grandparent, `far` the other one.
/// @tparam isLast  whether `link` is the last of all: then everything stands on one side, and need not be asked
template <bool isLast>
void mendRedParent(Link& header, Link* link, Link* parent) noexcept
{
   for (;;) {
      auto* const grandparent = parent->parent(); // a red link is not the root
      auto* const great = grandparent->parent();
      auto const side = isLast || grandparent->child[greater] == parent ? greater : smaller;
      auto const far = side == greater ? smaller : greater;
      auto* const uncle = grandparent->child[far];
      if (uncle == nullptr || uncle->isBlack()) {
         if (!isLast && parent->child[far] == link) {
            // Bent: turn the two, so that the middle one of the three keys stands between the others.
            auto* const inner = link->child[side];
            parent->child[far] = inner;
            if (inner != nullptr) {
               inner->parentIs(parent, Link::black);
            }
            link->child[side] = parent;
            parent->parentIs(link, 0);
            parent = link;
         }
         auto* const inner = parent->child[far];
         grandparent->child[side] = inner;
         if (inner != nullptr) {
            inner->parentIs(grandparent, Link::black);
         }
         parent->child[far] = grandparent;
         parent->parentIs(great, Link::black);
         grandparent->parentIs(parent, 0);
         replaceChild(header, great, grandparent, parent);
         return;
      }
      parent->parentIs(grandparent, Link::black);
      uncle->parentIs(grandparent, Link::black);
      if (great == &header) {
         return; // the root stays black
      }
      grandparent->parentIs(great, 0);
      if (great->isBlack()) {
         return;
      }
      link = grandparent;
      parent = great;
   }
}

} // namespace

void RbTreeMapGeneric::swap(RbTreeMapGeneric& other) noexcept
{
   RbTreeMapGeneric held;
   held.takeOver(other);
   other.takeOver(*this);
   takeOver(held);
   ++version_;
   ++other.version_;
}

void RbTreeMapGeneric::insert(Link& link, Link* parent, Side side) noexcept
{
   ++size_;
   ++version_;
   link.child[smaller] = link.child[greater] = nullptr;
   if (parent == nullptr) {
      link.parentIs(&header_, Link::black);
      header_.parentIs(&link, 0);
      header_.child[smaller] = header_.child[greater] = &link;
      return;
   }
   link.parentIs(parent, 0);
   parent->child[side] = &link;
   bool const isAtTheEnd = header_.child[side] == parent;
   if (isAtTheEnd) {
      header_.child[side] = &link;
   }
   if (parent->isBlack()) {
      return;
   }
   if (isAtTheEnd && side == greater) {
      mendRedParent<true>(header_, &link, parent);
   } else {
      mendRedParent<false>(header_, &link, parent);
   }
}

void RbTreeMapGeneric::remove(Link& link) noexcept
{
   boost::intrusive::rbtree_algorithms<LinkTraits>::erase(&header_, &link);
   link.parentAndColour = 0;
   --size_;
   ++version_;
}

void RbTreeMapGeneric::rootIs(Link* root, std::size_t size) noexcept
{
   ++version_;
   if (root == nullptr) {
      return;
   }
   header_.parentIs(root, 0);
   root->parentIs(&header_, Link::black);
   for (auto const side : {smaller, greater}) {
      auto* at = root;
      while (at->child[side] != nullptr) {
         at = at->child[side];
      }
      header_.child[side] = at;
   }
   size_ = size;
}

void RbTreeMapGeneric::assertDupKey()
{
   Orvo::assertionFailed("duplicate key in an ordered map", __FILE__, __LINE__);
}

void RbTreeMapGeneric::assertMemberTwice()
{
   Orvo::assertionFailed("element is already a member of an ordered collection", __FILE__, __LINE__);
}

void RbTreeMapGeneric::assertMemberDestroyed()
{
   Orvo::assertionFailed("element is destroyed as a member of an ordered collection", __FILE__, __LINE__);
}

} // namespace Kro
