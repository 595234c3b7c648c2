#include <KroOrvo/Impl.h>

#include <Kro/Entity.h>
#include <Kro/TypeOf.h>

#include <Orvo/Node.h>

#include <string>

namespace KroOrvo::Impl {
namespace {

void appendSlot(std::string& text, Kro::TypeRef type, void const* slot);

struct Walk {
   std::string& text;
   Kro::TypeRef key;
   Kro::TypeRef element;
   bool isFirst = true;
};

void appendCollection(std::string& text, Kro::KroAttr const& attr, void const* object)
{
   Walk walk{text, attr.collection->key, attr.type};
   text += '{';
   attr.collection->visit(
      object,
      [](void* context, void const* key, void const* element) {
         auto& at = *static_cast<Walk*>(context);
         at.text += at.isFirst ? "" : ", ";
         at.isFirst = false;
         appendSlot(at.text, at.key, key);
         if (element != nullptr) {
            at.text += '=';
            appendSlot(at.text, at.element, element);
         }
         return true;
      },
      &walk);
   text += '}';
}

/// Inherited attributes first.
void appendAttributes(std::string& text, Kro::TypeData const& type, void const* object, bool& isFirst)
{
   if (type.base != nullptr) {
      appendAttributes(text, *type.base, object, isFirst);
   }
   for (auto const& attr : type.attrs) {
      bool const isCollection = attr.collection != nullptr && attr.collection->visit != nullptr;
      if (!isCollection && attr.show == nullptr) {
         continue;
      }
      text += isFirst ? "" : ", ";
      isFirst = false;
      text += attr.name;
      text += '=';
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

void appendObject(std::string& text, Kro::TypeData const& type, void const* object)
{
   if (type.ops.appendText != nullptr) {
      type.ops.appendText(text, object);
      return;
   }
   auto const begin = text.size();
   text += type.name;
   text += '(';
   bool isFirst = true;
   appendAttributes(text, type, object, isFirst);
   text += ')';
   if (isFirst && type.kind == Kro::TypeKind::value) {
      text.resize(begin);
   }
}

void appendNode(std::string& text, Orvo::Node const* node)
{
   if (node == nullptr) {
      text += "null";
      return;
   }
   if (auto const* entity = dynamic_cast<Kro::Entity const*>(node)) {
      auto const name = entity->fullName();
      Kro::Leaf::text.ops.appendText(text, &name);
      return;
   }
   appendObject(text, node->typeData(), node);
}

void appendSlot(std::string& text, Kro::TypeRef type, void const* slot)
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
   std::string text;
   appendObject(text, type, value);
   return text;
}

} // namespace KroOrvo::Impl
