#pragma once

#include <Quorvel/Core/Export.h>

#include <Orvo/String.h>

#include <ostream>
#include <type_traits>

namespace Quorvel::Core::Memory {

namespace Detail {

/// @return the text form of every `Pointer`: no address ever shows in it
QUORVEL_CORE_EXPORT Orvo::String valueToStrep();

} // namespace Detail

/// A virtual address at which software reads and writes an object in a block of memory; of void: one whose
/// object is not known. Owns nothing.
template <class T>
class Pointer {
public:
   constexpr Pointer() noexcept = default;

   constexpr explicit Pointer(T* object) noexcept : object_(object) {}

   constexpr T* get() const noexcept { return object_; }

   constexpr T* operator->() const noexcept { return object_; }

   constexpr std::add_lvalue_reference_t<T> operator*() const noexcept { return *object_; }

   constexpr explicit operator bool() const noexcept { return object_ != nullptr; }

   friend constexpr bool operator==(Pointer const&, Pointer const&) noexcept = default;

private:
   T* object_ = nullptr;
};

/// Writes the same text for every pointer.
template <class T>
std::ostream& operator<<(std::ostream& stream, Pointer<T> const& /*pointer*/)
{
   return stream << Detail::valueToStrep();
}

} // namespace Quorvel::Core::Memory
