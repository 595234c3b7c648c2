#pragma once

#include <Kro/KroType.h>

namespace Kro {

/// Sees an entity as an object of a type that its own type, the one that `Orvo::Node::typeData` answers, inherits from.
///
/// @param fromType the type by which the entity is known
/// @return the address of the object of `toType` (borrowed)
/// @throws TypeException when the entity is of an unrelated type
/// Ends the process, "fromType.isPolymorphic()", when `fromType` is a value type: values have no base.
KRO_EXPORT void* polymorphicCast(TypeData const& fromType, Orvo::Node& entity, TypeData const& toType);

/// Sees a value as an object of its own type.
///
/// @return `value` (borrowed)
/// @throws TypeException when `toType` is another type
/// Ends the process, "!toType.isPolymorphic()", when `toType` is an entity type: no value is an entity.
KRO_EXPORT void* valueCast(TypeData const& fromType, void* value, TypeData const& toType);

} // namespace Kro
