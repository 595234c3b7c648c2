#pragma once

#include <Kro/Export.h>

#include <cstdint>

namespace Kro {

/// What all ordered collections share, whatever their key: the version counter, and the ends of a broken promise.
class RbTreeMapGeneric {
public:
   /// Raised by every change. Equal versions of one collection: nothing has changed in between.
   std::uint64_t version() const noexcept { return version_; }

   /// Ends the process: an element was inserted under a key that the collection already holds.
   [[noreturn]] KRO_EXPORT static void assertDupKey();

   /// Ends the process: an element was inserted that is still a member of a collection.
   [[noreturn]] KRO_EXPORT static void assertMemberTwice();

protected:
   RbTreeMapGeneric() noexcept = default;

   std::uint64_t version_ = 0;
};

} // namespace Kro
