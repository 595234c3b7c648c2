#include "support/ChildProcess.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Quorvel::Core::Test {
namespace {

struct Pipe {
   int readEnd = -1;
   int writeEnd = -1;

   Pipe()
   {
      int ends[2];
      if (::pipe(ends) != 0) {
         throw std::runtime_error("cannot make a pipe");
      }
      readEnd = ends[0];
      writeEnd = ends[1];
   }

   Pipe(Pipe const&) = delete;
   Pipe& operator=(Pipe const&) = delete;

   ~Pipe() { ::close(readEnd); }
};

/// Reads both pipes to their ends.
void drain(Pipe const& output, Pipe const& errors, ChildResult& result)
{
   std::array<pollfd, 2> files{{{output.readEnd, POLLIN, 0}, {errors.readEnd, POLLIN, 0}}};
   std::array const texts{&result.output, &result.errors};
   while (files[0].fd >= 0 || files[1].fd >= 0) {
      ::poll(files.data(), files.size(), -1);
      for (std::size_t i = 0; i < files.size(); ++i) {
         if (files[i].fd < 0 || files[i].revents == 0) {
            continue;
         }
         std::array<char, 4096> buffer{};
         auto const count = ::read(files[i].fd, buffer.data(), buffer.size());
         if (count > 0) {
            texts[i]->append(buffer.data(), static_cast<std::size_t>(count));
         } else {
            files[i].fd = -1;
         }
      }
   }
}

ChildResult fork(std::function<void()> const& body)
{
   std::fflush(nullptr);
   Pipe const output;
   Pipe const errors;
   auto const child = ::fork();
   if (child < 0) {
      throw std::runtime_error("cannot fork");
   }
   if (child == 0) {
      ::dup2(output.writeEnd, STDOUT_FILENO);
      ::dup2(errors.writeEnd, STDERR_FILENO);
      for (int const end : {output.readEnd, output.writeEnd, errors.readEnd, errors.writeEnd}) {
         ::close(end);
      }
      int status = 0;
      try {
         body();
      } catch (std::exception const& error) {
         std::fprintf(stderr, "%s\n", error.what());
         status = 1;
      }
      std::exit(status);
   }
   ::close(output.writeEnd);
   ::close(errors.writeEnd);
   ChildResult result;
   drain(output, errors, result);
   int status = 0;
   ::waitpid(child, &status, 0);
   result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 256 + WTERMSIG(status);
   return result;
}

} // namespace

ChildResult inChild(Environment const& environment, std::function<void()> const& body)
{
   return fork([&] {
      for (auto const& [name, value] : environment) {
         ::setenv(name.c_str(), value.c_str(), 1);
      }
      body();
   });
}

ChildResult runProgram(std::vector<std::string> const& arguments, Environment const& environment)
{
   std::vector<char*> argumentPointers;
   auto argumentTexts = arguments;
   for (auto& text : argumentTexts) {
      argumentPointers.push_back(text.data());
   }
   argumentPointers.push_back(nullptr);
   std::vector<std::string> variables;
   for (auto const& [name, value] : environment) {
      variables.push_back(name + "=" + value);
   }
   std::vector<char*> variablePointers;
   for (auto& text : variables) {
      variablePointers.push_back(text.data());
   }
   variablePointers.push_back(nullptr);
   return fork([&] {
      ::execve(argumentPointers.front(), argumentPointers.data(), variablePointers.data());
      ::_exit(127);
   });
}

} // namespace Quorvel::Core::Test
