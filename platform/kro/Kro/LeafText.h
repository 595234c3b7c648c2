#pragma once

#include <Kro/CharRange.h>
#include <Kro/TextBuffer.h>

/// The text forms of the leaf types: what `ValueOps::appendText` and `ValueOps::read` of their records are.
///
/// A number is decimal, in its shortest form; a flag is `true` or `false`; a text is as QuotedText.h has it, where its
/// reader is as well. Every value has one text form, and only these can be read.
namespace Kro::Detail {

/// `value` points to a T: one of the six number types.
template <class T>
void appendNumber(TextBuffer& text, void const* value);

/// `value` points to a bool.
void appendFlag(TextBuffer& text, void const* value);

/// `value` points to an Orvo::String.
void appendText(TextBuffer& text, void const* value);

template <class T>
char const* readNumber(void* to, CharRange& text);

char const* readFlag(void* to, CharRange& text);

} // namespace Kro::Detail
