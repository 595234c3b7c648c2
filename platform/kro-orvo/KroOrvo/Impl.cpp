#include <KroOrvo/Impl.h>

#include <Kro/Entity.h>
#include <Kro/TextBuffer.h>
#include <Kro/TypeOf.h>

#include <Orvo/Node.h>

namespace KroOrvo::Impl {
namespace {

void appendSlot(Kro::TextBuffer& text, Kro::TypeRef type, void const* slot);

struct Walk {
   Kro::TextBuffer& text;
   Kro::TypeRef key;
   Kro::TypeRef element;
   bool isFirst = true;
};

void appendCollection(Kro::TextBuffer& text, Kro::KroAttr const& attr, void const* object)
{
   Walk walk{text, attr.collection->key, attr.type};
   text.append('{');
   attr.collection->visit(
      object,
      [](void* context, void const* key, void const* element) {
         auto& at = *static_cast<Walk*>(context);
         if (!at.isFirst) {
            at.text.append(", ");
         }
         at.isFirst = false;
         appendSlot(at.text, at.key, key);
         if (element != nullptr) {
            at.text.append('=');
            appendSlot(at.text, at.element, element);
         }
         return true;
      },
      &walk);
   text.append('}');
}

void appendName(Kro::TextBuffer& text, std::string_view name, bool isFirst)
{
   auto* to = text.extend(name.size() + (isFirst ? 1 : 3));
   if (!isFirst) {
      *to++ = ',';
      *to++ = ' ';
   }
   *Kro::TextBuffer::put(to, name) = '=';
}

/// Inherited attributes first.
void appendAttributes(Kro::TextBuffer& text, Kro::TypeData const& type, void const* object, bool& isFirst)
{
   if (type.base != nullptr) {
      appendAttributes(text, *type.base, object, isFirst);
   }
   for (auto const& attr : type.attrs) {
      bool const isCollection = attr.collection != nullptr && attr.collection->visit != nullptr;
      if (!isCollection && attr.show == nullptr) {
         continue;
      }
      appendName(text, attr.name, isFirst);
      isFirst = false;
      if (isCollection) {
         appendCollection(text, attr, object);
         continue;
      }
      Walk walk{text, {}, attr.type};
      attr.show(
         object,
         [](void* context, void const* /*key*/, void const* slot) {
            auto& at = *static_cast<Walk*>(context);
            appendSlot(at.text, at.element, slot);
            return true;
         },
         &walk);
   }
}

void appendObject(Kro::TextBuffer& text, Kro::TypeData const& type, void const* object)
{
   if (type.ops.appendText != nullptr) {
      type.ops.appendText(text, object);
      return;
   }
   auto const begin = text.size();
   text.append(type.name);
   text.append('(');
   bool isFirst = true;
   appendAttributes(text, type, object, isFirst);
   text.append(')');
   if (isFirst && type.kind == Kro::TypeKind::value) {
      text.shrink(begin);
   }
}

void appendNode(Kro::TextBuffer& text, Orvo::Node const* node)
{
   if (node == nullptr) {
      text.append("null");
      return;
   }
   if (auto const* entity = dynamic_cast<Kro::Entity const*>(node)) {
      auto const name = entity->fullName();
      Kro::Leaf::text.ops.appendText(text, &name);
      return;
   }
   appendObject(text, node->typeData(), node);
}

void appendSlot(Kro::TextBuffer& text, Kro::TypeRef type, void const* slot)
{
   if (type.form == Kro::Form::plain) {
      appendObject(text, *type.type, slot);
   } else {
      appendNode(text, *static_cast<Orvo::Node const* const*>(slot));
   }
}

} // namespace

Orvo::String valueToStrep(Kro::KroType const& type, void const* value)
{
   Kro::TextBuffer text;
   appendObject(text, type, value);
   return text.view();
}

} // namespace KroOrvo::Impl
