#include "PluginFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <system_error>
#include <vector>

#include <cxxabi.h>
#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Plugin::Detail {
namespace {

class File {
public:
   // Does not wait for the other end of a pipe.
   explicit File(std::string const& path) : descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}

   ~File()
   {
      if (descriptor_ >= 0) {
         ::close(descriptor_);
      }
   }

   File(File const&) = delete;
   File& operator=(File const&) = delete;

   int descriptor() const noexcept { return descriptor_; }

   bool read(void* to, std::size_t size, std::uint64_t offset) const
   {
      return ::pread(descriptor_, to, size, static_cast<off_t>(offset)) == static_cast<ssize_t>(size);
   }

private:
   int descriptor_;
};

std::string systemError()
{
   return std::generic_category().message(errno);
}

/// Whether a segment reaches beyond the end of the file.
bool isCutOff(File const& file, std::uint64_t size, ElfW(Ehdr) const& header)
{
   std::vector<ElfW(Phdr)> segments(header.e_phnum);
   if (!file.read(segments.data(), segments.size() * sizeof(ElfW(Phdr)), header.e_phoff)) {
      return true;
   }
   return std::ranges::any_of(segments, [&](auto const& segment) {
      return segment.p_type == PT_LOAD && (segment.p_filesz > size || segment.p_offset > size - segment.p_filesz);
   });
}

/// @return why the dynamic loader is not to be given the file, where it would not say so itself
std::string refusal(File const& file, std::uint64_t size)
{
   ElfW(Ehdr) header;
   if (
      !file.read(&header, sizeof header, 0) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
      header.e_ident[EI_CLASS] != ELFCLASS64) {
      return {};
   }
   if (header.e_machine != EM_X86_64) {
      return "it is another processor's"; // for the dynamic loader, such a file is not there
   }
   if (header.e_phentsize == sizeof(ElfW(Phdr)) && isCutOff(file, size, header)) {
      return "it is cut off";
   }
   return {};
}

/// Whether the function belongs to the library itself.
bool isOwn(void* library, void* function)
{
   link_map* map = nullptr;
   Dl_info info{};
   void* home = nullptr;
   return ::dlinfo(library, RTLD_DI_LINKMAP, &map) == 0 && ::dladdr1(function, &info, &home, RTLD_DL_LINKMAP) != 0 &&
          home == map;
}

} // namespace

PluginFile inspect(std::string const& path)
{
   File const file(path);

   struct stat status {};

   if (file.descriptor() < 0 || ::fstat(file.descriptor(), &status) != 0) {
      return {0, 0, systemError()};
   }
   PluginFile result{status.st_dev, status.st_ino, {}};
   if (!S_ISREG(status.st_mode)) {
      result.reason = "it is no file";
   } else {
      result.reason = refusal(file, static_cast<std::uint64_t>(status.st_size));
   }
   return result;
}

void* open(std::string const& path, std::string& reason) noexcept
{
   auto* const library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
   if (library == nullptr) {
      auto const* const error = ::dlerror();
      reason = error != nullptr ? error : "the dynamic loader gives no reason";
   }
   return library;
}

std::string callEntryPoint(void* library)
{
   auto* const symbol = ::dlsym(library, "pluginMain");
   if (symbol == nullptr || !isOwn(library, symbol)) {
      return {};
   }
   try {
      reinterpret_cast<void (*)()>(symbol)();
   } catch (std::exception const& error) {
      return std::string("its entry point has thrown: ") + error.what();
   } catch (abi::__forced_unwind const&) {
      throw; // the thread is being cancelled
   } catch (...) {
      return "its entry point has thrown something that is no std::exception";
   }
   return {};
}

} // namespace Plugin::Detail
