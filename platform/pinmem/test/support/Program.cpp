#include "test/support/Program.h"
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace pinmem_test {

namespace {

struct Pipe {
   int readEnd = -1;
   int writeEnd = -1;

   Pipe()
   {
      int ends[2];
      if (::pipe2(ends, O_CLOEXEC) != 0) {
         throw std::runtime_error("cannot make a pipe");
      }
      readEnd = ends[0];
      writeEnd = ends[1];
   }
};

void drain(int number, std::string& text)
{
   char buffer[4096];
   for (ssize_t count = 0; (count = ::read(number, buffer, sizeof(buffer))) > 0;) {
      text.append(buffer, static_cast<std::size_t>(count));
   }
}

std::vector<char*> pointersTo(std::vector<std::string>& texts)
{
   std::vector<char*> pointers;
   for (std::string& text : texts) {
      pointers.push_back(text.data());
   }
   pointers.push_back(nullptr);
   return pointers;
}

} // namespace

Program::Program(std::vector<std::string> const& arguments, Environment const& environment)
{
   Pipe const input;
   Pipe const output;
   Pipe const errors;
   posix_spawn_file_actions_t actions;
   ::posix_spawn_file_actions_init(&actions);
   ::posix_spawn_file_actions_adddup2(&actions, input.readEnd, STDIN_FILENO);
   ::posix_spawn_file_actions_adddup2(&actions, output.writeEnd, STDOUT_FILENO);
   ::posix_spawn_file_actions_adddup2(&actions, errors.writeEnd, STDERR_FILENO);
   std::vector<std::string> argumentTexts = arguments;
   std::vector<std::string> environmentTexts;
   for (auto const& [name, value] : environment) {
      environmentTexts.push_back(name + "=" + value);
   }
   int const error = ::posix_spawn(
      &process_, arguments.at(0).c_str(), &actions, nullptr, pointersTo(argumentTexts).data(),
      pointersTo(environmentTexts).data());
   ::posix_spawn_file_actions_destroy(&actions);
   ::close(input.readEnd);
   ::close(output.writeEnd);
   ::close(errors.writeEnd);
   input_ = input.writeEnd;
   outputEnd_ = output.readEnd;
   errorsEnd_ = errors.readEnd;
   if (error != 0) {
      throw std::runtime_error("cannot start " + arguments.at(0));
   }
   isRunning_ = true;
}

Program::~Program()
{
   if (isRunning_) {
      kill(SIGKILL);
      wait();
   }
}

std::string Program::line()
{
   std::string text;
   for (char character = 0; ::read(outputEnd_, &character, 1) == 1 && character != '\n';) {
      text += character;
   }
   return text;
}

void Program::goOn()
{
   [[maybe_unused]] ssize_t const ignored = ::write(input_, "\n", 1);
}

void Program::kill(int signal)
{
   ::kill(process_, signal);
}

int Program::wait()
{
   ::close(input_);
   drain(outputEnd_, output_);
   drain(errorsEnd_, errors_);
   ::close(outputEnd_);
   ::close(errorsEnd_);
   int status = 0;
   ::waitpid(process_, &status, 0);
   isRunning_ = false;
   return WIFEXITED(status) ? WEXITSTATUS(status) : 256 + WTERMSIG(status);
}

} // namespace pinmem_test
