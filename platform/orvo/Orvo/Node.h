#pragma once

#include <Orvo/Export.h>
#include <Orvo/UseCount.h>

#include <cstdint>

namespace Kro {
struct TypeData;
}

namespace Orvo {

class Publisher;

/// Base of every live object: one that has an identity, is shared by counted references (`Orvo::Ptr`) and is destroyed
/// when the last reference goes.
///
/// Ownership: a new node has one reference, which its maker adopts (`Orvo::make`, `Ptr::adopt`).
/// Threads:   references may be taken and dropped on every thread.
/// Layout:    the order of the virtual functions is part of the binary interface; nothing is added before or between.
class ORVO_EXPORT Node {
public:
   /// Set while the node lives: delete it when the last reference goes. Destructors clear it first, so that references
   /// taken and dropped while they run do not delete again.
   static constexpr std::uint32_t flagDeleteOnLastUser = 0x20000000;

   Node(Node const&) = delete;
   Node& operator=(Node const&) = delete;
   virtual ~Node();

   /// Called by `referenceDrop` each time the count falls to zero while `flagDeleteOnLastUser` is set, on the thread that
   /// dropped the last reference. Clears the flag and deletes the node through its class's own `operator delete`, and is
   /// then not called again. An override that keeps the node takes a reference and leaves the flag set; it is called
   /// again when that reference, too, has gone.
   virtual void lastUserGone();

   /// What publishes this node's changes, or null for a node that publishes none; borrowed.
   virtual Publisher* publisher() const noexcept;

   /// Description of the node's type; lives for as long as the process.
   virtual Kro::TypeData const& typeData() const noexcept = 0;

   /// Sets or clears a flag bit: 0x20000000, 0x40000000 or 0x80000000, of which Orvo uses the first.
   void nodeFlagSet(std::uint32_t flag, bool value) noexcept;

   /// Adds a reference.
   void referenceTake() const noexcept { useCount_.take(); }

   /// Drops a reference. When it was the last, and `flagDeleteOnLastUser` is set, the node is gone afterwards.
   void referenceDrop() const
   {
      if ((useCount_.drop() & (UseCount::countMask | flagDeleteOnLastUser)) == flagDeleteOnLastUser) [[unlikely]] {
         const_cast<Node*>(this)->lastUserGone();
      }
   }

   /// Number of references; for tests and diagnosis.
   std::uint32_t useCount() const noexcept { return useCount_.count(); }

   /// Whether destruction has begun: `flagDeleteOnLastUser` is cleared.
   bool isBeingDestroyed() const noexcept { return !useCount_.flag(flagDeleteOnLastUser); }

protected:
   Node() noexcept : useCount_(flagDeleteOnLastUser) {}

private:
   UseCount mutable useCount_;
};

} // namespace Orvo
