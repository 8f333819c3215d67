#include "platform/posix/cage.h"

#include <fcntl.h>
#include <linux/landlock.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace tessaron {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kIsSanitized = true;  // sanitizers map terabytes and have threads of their own
#else
constexpr bool kIsSanitized = false;
#endif

/// The address space in use, in bytes; 0 when it cannot be told.
std::uint64_t addressSpace() {
  std::FILE* const file = std::fopen("/proc/self/statm", "re");
  if (!file) return 0;
  unsigned long pages = 0;
  const bool isRead = std::fscanf(file, "%lu", &pages) == 1;
  std::fclose(file);
  return isRead ? std::uint64_t{pages} * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)) : 0;
}

void lower(__rlimit_resource resource, rlim_t most) {
  rlimit limit{};
  getrlimit(resource, &limit);
  limit.rlim_max = std::min(limit.rlim_max, most);
  limit.rlim_cur = std::min(limit.rlim_cur, limit.rlim_max);
  setrlimit(resource, &limit);
}

void limitResources(std::uint64_t memory) {
  constexpr rlim_t kMaxOpenFiles = 16;
  lower(RLIMIT_CORE, 0);
  lower(RLIMIT_FSIZE, 0);
  lower(RLIMIT_NOFILE, kMaxOpenFiles);
  if (kIsSanitized) return;
  lower(RLIMIT_NPROC, 0);
  // Private memory, and, where it is shared, at least the address space.
  lower(RLIMIT_DATA, memory);
  const std::uint64_t used = addressSpace();
  if (used != 0) lower(RLIMIT_AS, used + memory);
}

/// Forbids to open, make, change and remove files: all that the kernel's Landlock knows, without a
/// rule that would permit anything.
void closeFileSystem() {
  constexpr std::uint64_t kFirstVersion = (LANDLOCK_ACCESS_FS_MAKE_SYM << 1) - 1;
  const long version =
      syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
  if (version < 1) return;
  landlock_ruleset_attr rules{};
  rules.handled_access_fs = kFirstVersion;
  if (version >= 2) rules.handled_access_fs |= LANDLOCK_ACCESS_FS_REFER;
#ifdef LANDLOCK_ACCESS_FS_TRUNCATE
  if (version >= 3) rules.handled_access_fs |= LANDLOCK_ACCESS_FS_TRUNCATE;
#endif
  const long fd = syscall(SYS_landlock_create_ruleset, &rules, sizeof rules, 0);
  if (fd < 0) return;
  syscall(SYS_landlock_restrict_self, fd, 0);
  close(static_cast<int>(fd));
}

// What memory, clocks, the socket and open files need, and how a process ends.
constexpr int kPermitted[] = {
    SCMP_SYS(read),         SCMP_SYS(pread64),       SCMP_SYS(readv),
    SCMP_SYS(recvmsg),      SCMP_SYS(recvfrom),      SCMP_SYS(sendmsg),
    SCMP_SYS(sendto),       SCMP_SYS(write),         SCMP_SYS(close),
    SCMP_SYS(lseek),        SCMP_SYS(fstat),         SCMP_SYS(brk),
    SCMP_SYS(munmap),       SCMP_SYS(mremap),        SCMP_SYS(madvise),
    SCMP_SYS(futex),        SCMP_SYS(clock_gettime), SCMP_SYS(clock_getres),
    SCMP_SYS(gettimeofday), SCMP_SYS(time),          SCMP_SYS(clock_nanosleep),
    SCMP_SYS(nanosleep),    SCMP_SYS(getrandom),     SCMP_SYS(getpid),
    SCMP_SYS(gettid),       SCMP_SYS(sysinfo),       SCMP_SYS(sched_getaffinity),
    SCMP_SYS(sched_yield),  SCMP_SYS(rt_sigaction),  SCMP_SYS(rt_sigprocmask),
    SCMP_SYS(rt_sigreturn), SCMP_SYS(sigaltstack),   SCMP_SYS(restart_syscall),
    SCMP_SYS(exit),         SCMP_SYS(exit_group),    SCMP_SYS(getrusage),
    SCMP_SYS(getuid),       SCMP_SYS(geteuid),       SCMP_SYS(getgid),
    SCMP_SYS(getegid),
};

// UBSan asks a pipe whether an object's memory can be read.
constexpr int kPermittedToSanitizers[] = {SCMP_SYS(pipe), SCMP_SYS(pipe2)};

// What libraries try and can do without: their own files, and questions about descriptors.
constexpr int kRefused[] = {
    SCMP_SYS(stat),   SCMP_SYS(lstat),      SCMP_SYS(newfstatat), SCMP_SYS(statx),
    SCMP_SYS(access), SCMP_SYS(faccessat),  SCMP_SYS(faccessat2), SCMP_SYS(readlink),
    SCMP_SYS(ioctl),  SCMP_SYS(readlinkat), SCMP_SYS(getcwd),     SCMP_SYS(fcntl),
    SCMP_SYS(uname),  SCMP_SYS(getdents64), SCMP_SYS(statfs),     SCMP_SYS(fadvise64),
};

/// Builds the filter of system calls; everything that it does not name ends the process.
bool addRules(scmp_filter_ctx filter) {
  const auto add = [&](std::uint32_t action, int call, auto... conditions) {
    return seccomp_rule_add(filter, action, call, sizeof...(conditions), conditions...) == 0;
  };
  constexpr std::uint32_t kRefuse = SCMP_ACT_ERRNO(EACCES);
  const auto hasNo = [](unsigned argument, std::uint64_t bits) {
    return scmp_arg_cmp{argument, SCMP_CMP_MASKED_EQ, bits, 0};
  };
  bool isWhole = true;
  for (const int call : kPermitted) isWhole = add(SCMP_ACT_ALLOW, call) && isWhole;
  if (kIsSanitized)
    for (const int call : kPermittedToSanitizers) isWhole = add(SCMP_ACT_ALLOW, call) && isWhole;
  for (const int call : kRefused) isWhole = add(kRefuse, call) && isWhole;
  // Opening for reading is refused, for writing it ends the process.
  constexpr std::uint64_t kWriting = O_WRONLY | O_RDWR | O_CREAT | O_TRUNC;
  isWhole = add(kRefuse, SCMP_SYS(open), hasNo(1, kWriting)) && isWhole;
  isWhole = add(kRefuse, SCMP_SYS(openat), hasNo(2, kWriting)) && isWhole;
  // No memory becomes code.
  isWhole = add(SCMP_ACT_ALLOW, SCMP_SYS(mmap), hasNo(2, PROT_EXEC)) && isWhole;
  isWhole = add(SCMP_ACT_ALLOW, SCMP_SYS(mprotect), hasNo(2, PROT_EXEC)) && isWhole;
  // abort() sends a signal to its own process.
  const scmp_arg_cmp self{0, SCMP_CMP_EQ, static_cast<scmp_datum_t>(getpid()), 0};
  return add(SCMP_ACT_ALLOW, SCMP_SYS(tgkill), self) && isWhole;
}

void filterCalls() {
  const scmp_filter_ctx filter = seccomp_init(SCMP_ACT_KILL_PROCESS);
  if (!filter) return;
  seccomp_attr_set(filter, SCMP_FLTATR_ACT_BADARCH, SCMP_ACT_KILL_PROCESS);
  if (!kIsSanitized) seccomp_attr_set(filter, SCMP_FLTATR_CTL_TSYNC, 1);
  if (addRules(filter)) seccomp_load(filter);
  seccomp_release(filter);
}

}  // namespace

void closeCage(std::uint64_t memory) {
  prctl(PR_SET_DUMPABLE, 0);
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  limitResources(memory);
  closeFileSystem();
  filterCalls();
}

}  // namespace tessaron
