#pragma once

#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace pinmem_lib {

/// The reason why a call is refused, in words for a person: cause, then cure. It does not name the block; whoever
/// reports it puts `pinmem: '<name>': ` in front. Nothing has changed when it is thrown.
class Refusal : public std::runtime_error {
public:
   using std::runtime_error::runtime_error;
};

/// The process or the machine has nothing left to open a file with: that says nothing about the file.
class Shortage : public Refusal {
public:
   using Refusal::Refusal;
};

/// There are not enough huge pages of one size, or not enough that are neighbours, or these come in too many pieces.
class NoPages : public Refusal {
public:
   using Refusal::Refusal;
};

/// The text of the given parts, one after the other.
template <typename... Parts>
std::string join(Parts const&... parts)
{
   std::ostringstream text;
   text.exceptions(std::ios_base::badbit); // else a text that finds no memory is cut silently
   (text << ... << parts);
   return text.str();
}

/// Throws the Refusal whose text is the given parts, one after the other.
template <typename... Parts>
[[noreturn]] void refuse(Parts const&... parts)
{
   throw Refusal(join(parts...));
}

bool isShortage(int error);

/// The same for something that could not be opened: a Shortage, if the error is one.
template <typename... Parts>
[[noreturn]] void refuseUnopened(int error, Parts const&... parts)
{
   if (isShortage(error)) {
      throw Shortage(join(parts...));
   }
   throw Refusal(join(parts...));
}

/// Refuses because a mapping of so many bytes cannot be made.
/// @param error  that mmap gave
[[noreturn]] void refuseMapping(std::uint64_t size, int error);

/// The text with every byte that is not printable ASCII, and the backslash, written as `\xNN`: one line, no control
/// sequence reaches a terminal, and two different texts stay different.
std::string printable(std::string_view text);

/// What the system says about an error number, e.g. `No space left on device`.
std::string systemText(int error);

} // namespace pinmem_lib
