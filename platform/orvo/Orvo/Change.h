#pragma once

#include <Orvo/String.h>

#include <cstdint>
#include <string_view>
#include <utility>

namespace Orvo {

class Node;

/// Key of the element that changed: a text, or the entity that is its own key.
class ChangeKey {
public:
   ChangeKey(String text) noexcept : text_(std::move(text)) {}

   ChangeKey(char const* text) : text_(text) {}

   /// @param entity  not null; borrowed
   ChangeKey(Node* entity) noexcept : entity_(entity) {}

   /// The key, where it is a text; else empty.
   String const& text() const noexcept { return text_; }

   /// The key, where it is an entity; else null.
   Node* entity() const noexcept { return entity_; }

   friend bool operator==(ChangeKey const&, ChangeKey const&) = default;

private:
   String text_;
   Node* entity_ = nullptr;
};

/// One change of a collection: an element was inserted, replaced or removed. The collection is already changed.
struct Change {
   Node* entity;                   ///< whose collection; borrowed
   std::int16_t attribute;         ///< number of the collection attribute
   std::string_view attributeName; ///< its name; borrowed from the publisher's caller
   ChangeKey key;                  ///< which element
};

} // namespace Orvo
