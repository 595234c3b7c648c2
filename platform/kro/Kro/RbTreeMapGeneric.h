#pragma once

#include <Kro/Export.h>

#include <cstddef>
#include <cstdint>

namespace Kro {

/// What lies under every ordered collection, whatever its key: a red-black tree of links that knows its first and its
/// last one. Which place belongs to a key is the business of `RbTreeMap`, which sees the keys.
///
/// Ownership: owns none of the links.
/// Threads:   const operations may run together; the caller serialises changes.
/// Cost:      stepping and adding at a known place O(1) on average, removing O(log n); allocates nothing.
class RbTreeMapGeneric {
public:
   /// Which of two neighbours below a link: its value is the index among the children.
   enum Side : unsigned { smaller = 0, greater = 1 };

   /// The part of a member that does not depend on its key. The colour is the lowest bit of the word that leads to the
   /// parent; the root's parent is the tree's header, so that the word is 0 for what is no member.
   struct Link {
      static constexpr std::uintptr_t black = 1;

      Link() noexcept = default;
      Link(Link const&) = delete;
      Link& operator=(Link const&) = delete;

      bool isLinked() const noexcept { return parentAndColour != 0; }

      bool isBlack() const noexcept { return (parentAndColour & black) != 0; }

      std::uintptr_t colour() const noexcept { return parentAndColour & black; }

      Link* parent() const noexcept { return reinterpret_cast<Link*>(parentAndColour & ~black); }

      /// Makes this, black if so said and else red, a child of `newParent`, which is told nothing.
      void parentIs(Link* newParent, std::uintptr_t newColour) noexcept
      {
         parentAndColour = reinterpret_cast<std::uintptr_t>(newParent) | newColour;
      }

      std::uintptr_t parentAndColour = 0;
      Link* child[2]{};
   };

   RbTreeMapGeneric() noexcept { headerIsEmpty(); }

   /// Takes over the links; `other` is empty afterwards.
   RbTreeMapGeneric(RbTreeMapGeneric&& other) noexcept
   {
      headerIsEmpty();
      takeOver(other);
      ++other.version_;
   }

   RbTreeMapGeneric& operator=(RbTreeMapGeneric&&) = delete;
   ~RbTreeMapGeneric() = default;

   KRO_EXPORT void swap(RbTreeMapGeneric& other) noexcept;

   std::size_t size() const noexcept { return size_; }

   bool empty() const noexcept { return size_ == 0; }

   /// Raised by every change. Equal versions of one collection: nothing has changed in between.
   std::uint64_t version() const noexcept { return version_; }

   /// A member has got another value.
   void noteReplaced() noexcept { ++version_; }

   // Each of the next four is null where there is none.

   Link* root() const noexcept { return header_.parent(); }

   Link* first() const noexcept { return empty() ? nullptr : header_.child[smaller]; }

   Link* last() const noexcept { return empty() ? nullptr : header_.child[greater]; }

   /// The link behind `link`, a member.
   Link* next(Link const* link) const noexcept
   {
      if (auto* at = link->child[greater]; at != nullptr) {
         while (at->child[smaller] != nullptr) {
            at = at->child[smaller];
         }
         return at;
      }
      if (link == header_.child[greater]) {
         return nullptr;
      }
      auto* at = link->parent();
      while (link == at->child[greater]) {
         link = at;
         at = at->parent();
      }
      return at;
   }

   /// Adds `link`, no member, as a child of `parent`, which has none on that side; null: as the first of an empty tree.
   KRO_EXPORT void insert(Link& link, Link* parent, Side side) noexcept;

   /// Takes `link`, a member, out.
   KRO_EXPORT void remove(Link& link) noexcept;

   /// Ends the process: an element was inserted under a key that the collection already holds.
   [[noreturn]] KRO_EXPORT static void assertDupKey();

   /// Ends the process: an element was inserted that is still a member of a collection.
   [[noreturn]] KRO_EXPORT static void assertMemberTwice();

   /// Ends the process: an element was destroyed that is still a member of a collection.
   [[noreturn]] KRO_EXPORT static void assertMemberDestroyed();

protected:
   /// Empties the tree. The links stay a tree of their own, below the result, which is null when there were none.
   Link* release() noexcept
   {
      auto* const released = root();
      headerIsEmpty();
      ++version_;
      return released;
   }

   /// Makes the tree below `root`, which has `size` links, this empty tree's content.
   KRO_EXPORT void rootIs(Link* root, std::size_t size) noexcept;

private:
   void headerIsEmpty() noexcept
   {
      header_.parentAndColour = 0;
      header_.child[smaller] = header_.child[greater] = &header_;
      size_ = 0;
   }

   void takeOver(RbTreeMapGeneric& other) noexcept
   {
      if (auto* const root = other.root(); root != nullptr) {
         root->parentIs(&header_, Link::black);
         header_.parentIs(root, 0);
         header_.child[smaller] = other.header_.child[smaller];
         header_.child[greater] = other.header_.child[greater];
         size_ = other.size_;
         other.headerIsEmpty();
      }
   }

   Link header_; ///< above the root: its parent is the root, its children are the first and the last member
   std::size_t size_ = 0;
   std::uint64_t version_ = 0;
};

} // namespace Kro
