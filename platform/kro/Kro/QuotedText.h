#pragma once

#include <Kro/CharRange.h>
#include <Kro/TextBuffer.h>

#include <string_view>

/// The text form of texts: in double quotes, `"` and `\` behind a `\`, each of the bytes 00 to 1f and 7f as `\x` and
/// two digits, 0 to f; all other bytes stand as they are. Every sequence of bytes has one form, and only these can be
/// read.
namespace Kro::Detail {

void appendQuoted(TextBuffer& text, std::string_view characters);

/// Like `ValueOps::read`: makes an Orvo::String in the room at `to`.
char const* readQuoted(void* to, CharRange& text);

} // namespace Kro::Detail
