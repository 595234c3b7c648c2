#include <Kro/Slot.h>

#include <Kro/Cast.h>
#include <Kro/CharRange.h>
#include <Kro/Exception.h>
#include <Kro/OverloadCall.h>

#include <Orvo/Node.h>

#include <cstddef>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace Kro {
namespace {

std::size_t sizeOf(TypeRef type) noexcept
{
   return type.form == Form::plain ? type.type->size : sizeof(void*);
}

std::align_val_t alignmentOf(TypeRef type) noexcept
{
   return std::align_val_t(type.form == Form::plain ? type.type->alignment : alignof(void*));
}

// An Orvo::Ptr<T> holds a T*, as a pointer slot does.
void*& pointerIn(void* room) noexcept
{
   return *static_cast<void**>(room);
}

template <class Range>
std::string listOf(Range const& types)
{
   std::string list = "(";
   for (TypeRef const type : types) {
      list += list.size() > 1 ? ", " : "";
      list += nameOf(type).view();
   }
   return list + ")";
}

[[noreturn]] void refuseArguments(KroType const& type, std::span<GenericIf const> arguments)
{
   std::vector<TypeRef> given;
   for (auto const& argument : arguments) {
      given.push_back(argument.voidPtr() != nullptr ? argument.type() : TypeRef{});
   }
   auto reason = "it has no constructor that takes " + listOf(given);
   for (auto const& constructor : type.constructors) {
      reason += &constructor == type.constructors.data() ? ", but one that takes " : " and one that takes ";
      reason += listOf(constructor.arguments);
   }
   throwNewEntityArgsException(type.name, reason);
}

[[noreturn]] void refuseValue(TypeRef type, char const* reason)
{
   throw TypeException(Orvo::join("a value of type '", nameOf(type), "' ", reason));
}

/// @return `type`, when values of it do what `op` does; pointers can be null and be copied
template <class Op>
TypeRef able(TypeRef type, Op ValueOps::*op, char const* reason)
{
   bool const isAble = type.type != nullptr && (type.form == Form::plain ? type.type->ops.*op != nullptr
                                                : type.form == Form::ptr ? type.type->isPolymorphic()
                                                                         : true);
   if (!isAble) {
      refuseValue(type, reason);
   }
   return type;
}

} // namespace

Slot::Slot(Empty, TypeRef type) : type_(type), room_(::operator new(sizeOf(type), alignmentOf(type))) {}

Slot::Slot(TypeRef type) : Slot(Empty{}, able(type, &ValueOps::init, "has no default"))
{
   if (type.form == Form::plain) {
      type.type->ops.init(room_);
   } else {
      pointerIn(room_) = nullptr;
   }
   isMade_ = true;
}

Slot::~Slot()
{
   clear();
}

Slot::Slot(Slot&& other) noexcept
   : type_(other.type_), room_(std::exchange(other.room_, nullptr)), isMade_(std::exchange(other.isMade_, false))
{}

Slot& Slot::operator=(Slot&& other) noexcept
{
   if (this != &other) {
      clear();
      type_ = other.type_;
      room_ = std::exchange(other.room_, nullptr);
      isMade_ = std::exchange(other.isMade_, false);
   }
   return *this;
}

void Slot::clear() noexcept
{
   if (isMade_ && type_.form == Form::plain) {
      type_.type->ops.destroy(room_);
   }
   if (isMade_ && type_.form == Form::ptr && pointerIn(room_) != nullptr) {
      type_.type->pointer.toNode(pointerIn(room_))->referenceDrop();
   }
   ::operator delete(room_, alignmentOf(type_));
}

Slot Slot::make(KroType const& type, std::span<GenericIf const> arguments)
{
   auto const* constructor = Detail::findOverload(type.constructors, arguments);
   if (constructor == nullptr) {
      refuseArguments(type, arguments);
   }
   Slot slot(Empty{}, constructor->result);
   if (slot.type_.form == Form::ptr) {
      pointerIn(slot.room_) = nullptr;
      slot.isMade_ = true;
   }
   Detail::callOverload(*constructor, nullptr, arguments, slot.room_);
   slot.isMade_ = true;
   return slot;
}

Slot Slot::copyOf(GenericIf const& from)
{
   auto const type = from.type();
   from.typeIs(type);
   Slot slot(Empty{}, able(type, &ValueOps::copy, "cannot be copied"));
   if (type.form == Form::plain) {
      type.type->ops.copy(slot.room_, from.voidPtr());
   } else {
      pointerIn(slot.room_) = pointerIn(from.voidPtr());
      if (type.form == Form::ptr && pointerIn(slot.room_) != nullptr) {
         type.type->pointer.toNode(pointerIn(slot.room_))->referenceTake();
      }
   }
   slot.isMade_ = true;
   return slot;
}

Slot Slot::read(TypeRef type, std::string_view text)
{
   if (type.form != Form::plain || type.type == nullptr || type.type->ops.read == nullptr) {
      refuseValue(type, "cannot be read from text");
   }
   CharRange range(text);
   Slot slot(Empty{}, type);
   if (auto const* expected = type.type->ops.read(slot.room_, range)) {
      range.refuse(expected);
   }
   slot.isMade_ = true;
   range.endIs();
   return slot;
}

Slot Slot::pointerTo(KroType const& type, Orvo::Node* entity)
{
   Slot slot({&type, Form::ptr});
   if (entity != nullptr) {
      pointerIn(slot.room_) = polymorphicCast(entity->typeData(), *entity, type);
      entity->referenceTake();
   }
   return slot;
}

GenericIf Slot::object() const noexcept
{
   return type_.form == Form::plain ? genericIf() : genericIf().pointee();
}

} // namespace Kro
