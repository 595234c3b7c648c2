#pragma once

#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace pinmem_test {

/// A program that a test has started, with pipes at its standard streams and just the environment that it was given.
class Program {
public:
   using Environment = std::map<std::string, std::string>;

   Program(std::vector<std::string> const& arguments, Environment const& environment);
   Program(Program const&) = delete;
   Program& operator=(Program const&) = delete;

   /// Kills it, if it has not been waited for.
   ~Program();

   /// The next line of its standard output, without the newline; "" at its end.
   std::string line();

   /// Sends it one empty line.
   void goOn();

   void kill(int signal);

   /// Closes its input, reads what is left of its output, and waits for its end.
   /// @return exit status, or 256 plus the signal that ended it
   int wait();

   /// What was left when `wait` was called.
   std::string const& restOfOutput() const { return output_; }

   std::string const& errors() const { return errors_; }

   pid_t id() const { return process_; }

private:
   pid_t process_ = -1;
   bool isRunning_ = false;
   int input_ = -1;
   int outputEnd_ = -1;
   int errorsEnd_ = -1;
   std::string output_;
   std::string errors_;
};

} // namespace pinmem_test
