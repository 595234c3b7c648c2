#pragma once

#include <Quorvel/Core/Export.h>

#include <Kro/TypeOf.h>

#include <cstdint>

namespace Quorvel::Core::Memory::Control {

/// A layout rule: where the field of an entry lies in its group's chunk.
///
/// A plain function from the group's head, the entry's index and the field's size (entries, entries, bytes) to an
/// offset in bytes. It must not throw. Null means the dense layout: (index - head) * size.
using Offsetter = std::uint32_t (*)(std::uint32_t head, std::uint32_t index, std::uint32_t size);

/// The record of the type: a value without attributes.
extern QUORVEL_CORE_EXPORT Kro::KroType const offsetterType;

} // namespace Quorvel::Core::Memory::Control

template <>
struct Kro::TypeRecord<Quorvel::Core::Memory::Control::Offsetter> {
   static constexpr KroType const* type = &Quorvel::Core::Memory::Control::offsetterType;
};
