#pragma once

#include <Quorvel/Utility/Affirm.h>

#include <string>
#include <typeinfo>

namespace Quorvel::Core::Test {

/// @return the text of the exception, of exactly that type, with which the call ends; what happened instead otherwise
template <class Exception, class Call>
std::string messageOf(Call const& call)
{
   try {
      call();
   } catch (Exception const& error) {
      if (typeid(error) != typeid(Exception)) {
         return std::string("another exception: ") + typeid(error).name() + ": " + error.what();
      }
      return error.what();
   }
   return "no exception";
}

/// @return the source file, below Quorvel/Core/, of the promise whose breach ends the call
template <class Call>
std::string brokenPromiseOf(Call const& call)
{
   try {
      call();
   } catch (Utility::AffirmException const& error) {
      std::string const file = error.file();
      auto const end = "Quorvel/Core/";
      return file.substr(file.rfind(end) + std::string(end).size());
   }
   return "no exception";
}

} // namespace Quorvel::Core::Test
