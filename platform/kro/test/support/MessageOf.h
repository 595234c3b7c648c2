#pragma once

#include <string>

namespace Test {

/// @return the text of the exception of exactly this family that the call throws; any other outcome fails the test
template <class Exception, class Call>
std::string messageOf(Call&& call)
{
   try {
      call();
   } catch (Exception const& exception) {
      return exception.what();
   }
   return "nothing was thrown";
}

} // namespace Test
