#pragma once

#include <Orvo/Node.h>

#include <concepts>

namespace Kro::Detail {

// Objects pass by `void*`: a value as its own address, an entity as that of its Orvo::Node, wherever that lies in it.

/// @return the untyped address of the object
template <class T>
void* addressOf(T* object) noexcept
{
   if constexpr (std::derived_from<T, Orvo::Node>) {
      return static_cast<Orvo::Node*>(object);
   } else {
      return object;
   }
}

/// @return the object of type T behind the untyped address
template <class T>
T& objectOf(void* object)
{
   if constexpr (std::derived_from<T, Orvo::Node>) {
      return *static_cast<T*>(static_cast<Orvo::Node*>(object));
   } else {
      return *static_cast<T*>(object);
   }
}

template <class T>
T const& objectOf(void const* object)
{
   return objectOf<T const>(const_cast<void*>(object));
}

} // namespace Kro::Detail
