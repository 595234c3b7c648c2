#pragma once

#include <KroOrvo/Export.h>

#include <Kro/KroType.h>
#include <Orvo/String.h>

namespace KroOrvo::Impl {

/// The text form of any registered value: `TypeName(attribute=value, ...)`.
///
/// Values and collections are written in the order in which the type declares them; operations and computed attributes
/// are not. Texts stand in double quotes, escaped so that every byte sequence can be read back; numbers are decimal;
/// collections are `{key=value, ...}`, sets `{key, ...}`. A pointer to an entity is written as its quoted full name, to
/// another node as that node's own form, a null pointer as `null`; nodes that are no entities must not
/// point to each other in a circle. A value type without attributes has the empty text.
///
/// @param type  the type's record
/// @param value the value; of an entity type its Orvo::Node
/// Cost: proportional to the text; the same value gives the same text in every process.
KRO_ORVO_EXPORT Orvo::String valueToStrep(Kro::KroType const& type, void const* value);

} // namespace KroOrvo::Impl
