#pragma once

#include <Kro/KroType.h>

#include <concepts>
#include <type_traits>

namespace Kro {

/// The records of the leaf types. Each has one definition, in libkro, so that every library sees the same address.
namespace Leaf {
extern KRO_EXPORT KroType const boolean;
extern KRO_EXPORT KroType const int16;
extern KRO_EXPORT KroType const int32;
extern KRO_EXPORT KroType const int64;
extern KRO_EXPORT KroType const uint16;
extern KRO_EXPORT KroType const uint32;
extern KRO_EXPORT KroType const uint64;
extern KRO_EXPORT KroType const text;
/// Bytes whose layout is a device's: they have a size and nothing else.
extern KRO_EXPORT KroType const bytes;
} // namespace Leaf

/// Names the record of a type that cannot carry a static `kroType` itself; specialise it with a static member `type`.
template <class T>
struct TypeRecord;

template <>
struct TypeRecord<bool> {
   static constexpr KroType const* type = &Leaf::boolean;
};

template <>
struct TypeRecord<std::int16_t> {
   static constexpr KroType const* type = &Leaf::int16;
};

template <>
struct TypeRecord<std::int32_t> {
   static constexpr KroType const* type = &Leaf::int32;
};

template <>
struct TypeRecord<std::int64_t> {
   static constexpr KroType const* type = &Leaf::int64;
};

template <>
struct TypeRecord<std::uint16_t> {
   static constexpr KroType const* type = &Leaf::uint16;
};

template <>
struct TypeRecord<std::uint32_t> {
   static constexpr KroType const* type = &Leaf::uint32;
};

template <>
struct TypeRecord<std::uint64_t> {
   static constexpr KroType const* type = &Leaf::uint64;
};

template <>
struct TypeRecord<Orvo::String> {
   static constexpr KroType const* type = &Leaf::text;
};

/// A type that declares `static Kro::KroType const kroType;`.
template <class T>
concept CarriesRecord = requires
{
   {
      T::kroType
      } -> std::same_as<KroType const&>;
};

template <class T>
concept HasRecord = CarriesRecord<T> || requires
{
   TypeRecord<T>::type;
};

/// @return the record of T
template <HasRecord T>
consteval KroType const* typeOf()
{
   if constexpr (CarriesRecord<T>) {
      return &T::kroType;
   } else {
      return TypeRecord<T>::type;
   }
}

namespace Detail {
template <class T>
struct SlotOf {
   using Type = T;
   static constexpr Form form = Form::plain;
};

template <class T>
struct SlotOf<Orvo::Ptr<T>> {
   static_assert(!std::is_const_v<T>, "what reads a slot could change the object");
   using Type = T;
   static constexpr Form form = Form::ptr;
};
template <class T>

requires(!std::is_function_v<T>) struct SlotOf<T*> {
   using Type = std::remove_const_t<T>;
   static constexpr Form form = Form::raw;
};
} // namespace Detail

/// @return the exact type of a slot that holds a Slot: T, Orvo::Ptr<T> or T*
template <class Slot>
consteval TypeRef typeRefOf()
{
   if constexpr (std::is_void_v<Slot>) {
      return {};
   } else {
      using Of = Detail::SlotOf<std::remove_cvref_t<Slot>>;
      return {typeOf<typename Of::Type>(), Of::form};
   }
}

} // namespace Kro
