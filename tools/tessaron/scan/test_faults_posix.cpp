#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <new>

#include "scan/test_faults.h"

namespace tessaron::tool {
namespace {

[[noreturn]] void loop() {
  for (volatile unsigned count = 0;;) count = count + 1;
}

[[noreturn]] void sleepOn() {
  for (;;) ::usleep(1'000'000);
}

void takeMemory() {
  constexpr std::size_t kStep = std::size_t{64} << 20, kTotal = std::size_t{10} << 30;
  for (std::size_t taken = 0; taken < kTotal; taken += kStep) {
    volatile char* const block = new char[kStep];
    block[0] = 1;
  }
}

void takeSharedMemory() {
  constexpr std::size_t kTotal = std::size_t{10} << 30;
  const int flags = MAP_SHARED | MAP_ANONYMOUS;
  if (::mmap(nullptr, kTotal, PROT_READ | PROT_WRITE, flags, -1, 0) == MAP_FAILED)
    throw std::bad_alloc();
}

void connectOut() {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(9);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
  static_cast<void>(::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address));
}

/// Ends the process if the file can be opened.
void openSecret() {
  for (const char* path : {"/etc/passwd", "/proc/self/exe", "/"})
    if (::open(path, O_RDONLY) != -1 || errno != EACCES) std::abort();
}

void makeCode() {
  static_cast<void>(
      ::mmap(nullptr, 4096, PROT_READ | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
}

struct Fault {
  std::u16string_view name;
  Misbehavior run;
};
constexpr Fault kFaults[] = {
    {u"abort.", std::abort},
    {u"crash.", [] { std::raise(SIGSEGV); }},
    {u"loop.", loop},
    {u"sleep.", sleepOn},
    {u"memory.", takeMemory},
    {u"shared.", takeSharedMemory},
    {u"fork.",
     [] {
       if (::fork() == 0) ::_exit(0);
     }},
    {u"connect.", connectOut},
    {u"open.", openSecret},
    {u"write.", [] { ::open("/tmp/written-by-a-reader", O_WRONLY | O_CREAT, 0600); }},
    {u"code.", makeCode},
    {u"kill.", [] { ::kill(::getppid(), SIGKILL); }},
    {u"lie.", [] { ::send(3, "\xFF\xFF\xFF\xFFlie", 7, 0); }},
    {u"garble.", [] { ::send(3, "\x08\0\0\0\xFF\xFF\xFF\xFFlies", 12, 0); }},
    {u"exit.", [] { ::_exit(0); }},
};

}  // namespace

Misbehavior misbehaviorFor(std::u16string_view name) {
  for (const Fault& fault : kFaults)
    if (name.starts_with(fault.name)) return fault.run;
  return nullptr;
}

}  // namespace tessaron::tool
