#pragma once

#include <functional>
#include <grp.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <string>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace pinmem_test {

/// The user that `asOrdinaryUser` becomes.
constexpr uid_t ordinaryUser = 65534;

enum class Privilege {
   never,   ///< as in a program that an ordinary user has started
   dropped, ///< as in one that root has started
   kept     ///< an ordinary user with the capability CAP_SYS_ADMIN
};

/// Makes the capability to see physical addresses count again, which a change of the user switches off.
inline bool raiseAdmin()
{
   __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
   __user_cap_data_struct data[2] = {};
   data[0].effective = data[0].permitted = 1U << CAP_SYS_ADMIN;
   return ::syscall(SYS_capset, &header, data) == 0;
}

/// Runs `action` in a child process of an ordinary user; only root can.
///
/// @param groups  that he is a member of
/// @return what `action` returns, or what it throws
inline std::string
asOrdinaryUser(Privilege privilege, std::function<std::string()> const& action, std::vector<gid_t> const& groups = {})
{
   int ends[2] = {-1, -1};
   EXPECT_EQ(::pipe(ends), 0);
   pid_t const child = ::fork();
   if (child == 0) {
      std::string text = "no privilege to give up";
      ::prctl(PR_SET_KEEPCAPS, privilege == Privilege::kept ? 1 : 0);
      if (
         ::setgroups(groups.size(), groups.data()) == 0 && ::setresgid(ordinaryUser, ordinaryUser, ordinaryUser) == 0 &&
         ::setresuid(ordinaryUser, ordinaryUser, ordinaryUser) == 0 && (privilege != Privilege::kept || raiseAdmin())) {
         ::prctl(PR_SET_DUMPABLE, privilege == Privilege::dropped ? 0 : 1);
         try {
            text = action();
         } catch (std::exception const& error) {
            text = error.what();
         }
      }
      [[maybe_unused]] ssize_t const ignored = ::write(ends[1], text.data(), text.size());
      ::_exit(0);
   }
   ::close(ends[1]);
   std::string text;
   char buffer[4096];
   for (ssize_t count = 0; (count = ::read(ends[0], buffer, sizeof(buffer))) > 0;) {
      text.append(buffer, static_cast<std::size_t>(count));
   }
   ::close(ends[0]);
   ::waitpid(child, nullptr, 0);
   return text;
}

} // namespace pinmem_test
