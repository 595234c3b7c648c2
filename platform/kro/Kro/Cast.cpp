#include <Kro/Cast.h>

#include <Kro/GenericIf.h>

#include <Orvo/Assert.h>
#include <Orvo/Node.h>

namespace Kro {

void* polymorphicCast(TypeData const& fromType, Orvo::Node& entity, TypeData const& toType)
{
   ORVO_ASSERT(fromType.isPolymorphic(), "fromType.isPolymorphic()");
   if (!fwkType(entity).isA(toType)) {
      GenericIfImpl::throwTypeException({&entity.typeData(), Form::plain}, {&toType, Form::plain});
   }
   return toType.pointer.fromNode(&entity);
}

void* valueCast(TypeData const& fromType, void* value, TypeData const& toType)
{
   ORVO_ASSERT(!toType.isPolymorphic(), "!toType.isPolymorphic()");
   if (&fromType != &toType) {
      GenericIfImpl::throwTypeException({&fromType, Form::plain}, {&toType, Form::plain});
   }
   return value;
}

} // namespace Kro
