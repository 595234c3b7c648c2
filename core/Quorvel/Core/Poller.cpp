#include <Quorvel/Core/Poller.h>

#include <Quorvel/Utility/Raise.h>

#include <cerrno>
#include <cstddef>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace Quorvel::Core {

Poller::Descriptor::Descriptor(char const* path, int flags) noexcept
{
   constexpr mode_t everybody = 0666;
   number_ = ::open(path, flags, everybody);
}

Poller::Descriptor::~Descriptor()
{
   if (number_ != -1) {
      ::close(number_);
   }
}

void Poller::File::checkDescriptor() const
{
   if (descriptor == -1) {
      Utility::raise(std::system_error(EBADF, std::system_category(), "Unable to open file '" + name + "'"));
   }
}

void Poller::fileIs(File file)
{
   files.push_back(std::move(file));
}

std::int32_t Poller::open(std::string name, int flags, std::int16_t events, File::Handler handler)
{
   std::forward_list<Descriptor> opened; // from the beginning what is open has an owner
   opened.emplace_front(name.c_str(), flags);
   auto const descriptor = opened.front().number();
   File file{std::move(name), std::move(handler), descriptor, events};
   file.checkDescriptor();
   fileIs(std::move(file));
   opened_.splice_after(opened_.before_begin(), opened);
   return descriptor;
}

int Poller::poll(int timeout)
{
   std::vector<pollfd> records;
   records.reserve(files.size());
   for (auto const& file : files) {
      records.push_back({file.descriptor, file.events, 0});
   }
   for (;;) {
      int const result = ::poll(records.data(), records.size(), timeout);
      if (result < 0) {
         int const error = errno;
         std::vector<pollfd>().swap(records); // which may set errno
         errno = error;
         return result;
      }
      if (result == 0) {
         continue;
      }
      bool isOver = false;
      for (std::size_t i = 0; i < records.size(); ++i) {
         // The records alone are read where nothing has happened: they lie close together.
         if (records[i].revents != 0 && (records[i].revents & files[i].events) != 0) {
            isOver = files[i].handler(files[i]) || isOver;
         }
      }
      if (isOver) {
         return result;
      }
   }
}

} // namespace Quorvel::Core
