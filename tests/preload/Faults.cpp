/// For LD_PRELOAD: lets one call of a program fail, as a full disk, a signal or too little memory would.
///
///     LOAM_FAULT=write:ENOSPC:3 LD_PRELOAD=libloamFaults.so loamtunnel tables
///
/// The third write from the start of main() on fails with ENOSPC; `read:short:3` gives one byte,
/// `memory:ENOMEM:3` none, and `memory:ENOMEM:3+` none from there on. What goes to the standard error always
/// arrives: there a program says what went wrong.
///
///     LOAM_FAULTS=read:EIO:5,memory:ENOMEM:40 LOAM_FAULTS_IN=folder ...
///
/// makes a process for each fault instead, from just before main(): the first, the second, ... call of each
/// kind until there is no such call, but so many at most, which lie further and further apart; of
/// `memory:ENOMEM:-40` the last one, the one before it, and so on. Each has its results in
/// `folder/KIND:ERROR:NUMBER.out` and `.err`, and `folder/all` has a line of that name and its wait status
/// for each that had its fault.
///
/// Nothing here allocates: the C library's own calls come here, too.

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <limits>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* old, std::size_t size);
}

namespace {

/// What is done in place of the call.
constexpr int isShort = -1, nothing = 0;

struct Spec {
    char kind[16] = "";
    char error[16] = "";
    long number = 0;
    bool isLasting = false;
};

struct Fault {
    Spec spec;
    int error = nothing;
    std::atomic<long> calls{0};
    std::atomic<bool> isOn{false};
    /// What whoever has made the process reads.
    struct Seen {
        bool hasHappened;
        long calls;
    };
    Seen* seen = nullptr;
};
Fault fault;

int errorNamed(char const* name) {
    struct {
        char const* name;
        int error;
    } constexpr all[]{{"EIO", EIO},       {"ENOSPC", ENOSPC},         {"EINTR", EINTR},  {"EMFILE", EMFILE},
                      {"ENOMEM", ENOMEM}, {"ECONNRESET", ECONNRESET}, {"short", isShort}};
    for (auto const& each : all) {
        if (std::strcmp(each.name, name) == 0) {
            return each.error;
        }
    }
    std::abort();
}

/// Takes one from the front of a list; whether there was any.
bool next(char const*& list, Spec& spec) {
    char lasting = 0;
    int size = 0;
    list += std::strspn(list, " ,");
    if (std::sscanf(list, "%15[^:]:%15[^:]:%ld%n%1[+]%n", spec.kind, spec.error, &spec.number, &size,
                    &lasting, &size) < 3) {
        return false;
    }
    spec.isLasting = lasting == '+';
    list += size;
    return true;
}

void begin(Spec const& spec) {
    fault.spec = spec;
    fault.error = errorNamed(spec.error);
    fault.isOn = true;
}

/// What this call of that kind is to do: an error, isShort or nothing.
int faultOf(char const* kind) {
    if (!fault.isOn.load(std::memory_order_relaxed) || std::strcmp(kind, fault.spec.kind) != 0) {
        return nothing;
    }
    long const call = ++fault.calls;
    if (fault.seen != nullptr) {
        fault.seen->calls = call;
    }
    if (call != fault.spec.number && !(fault.spec.isLasting && call > fault.spec.number)) {
        return nothing;
    }
    if (fault.seen != nullptr) {
        fault.seen->hasHappened = true;
    }
    return fault.error;
}

/// The system's call, unless it is to fail.
template <class Result = int, class... Arguments>
Result call(char const* kind, long number, Arguments... arguments) {
    if (int const error = faultOf(kind); error > 0) {
        errno = error;
        return static_cast<Result>(-1);
    }
    return static_cast<Result>(::syscall(number, arguments...));
}

/// The same for so many bytes, of which one alone may be taken.
template <class Data, class... Arguments>
ssize_t bytes(char const* kind, long number, int fd, Data* data, std::size_t size, Arguments... arguments) {
    int const error = fd == STDERR_FILENO ? nothing : faultOf(kind);
    if (error > 0) {
        errno = error;
        return -1;
    }
    return ::syscall(number, fd, data, error == isShort && size > 1 ? 1 : size, arguments...);
}

int opened(int folder, char const* path, int flags, mode_t mode) {
    return call("open", SYS_openat, folder, path, flags, mode);
}

} // namespace

extern "C" {

ssize_t read(int fd, void* data, std::size_t size) {
    return bytes("read", SYS_read, fd, data, size);
}
ssize_t write(int fd, void const* data, std::size_t size) {
    return bytes("write", SYS_write, fd, data, size);
}
ssize_t writev(int fd, iovec const* parts, int count) {
    int const error = fd == STDERR_FILENO ? nothing : faultOf("write");
    if (error > 0) {
        errno = error;
        return -1;
    }
    return error == isShort ? ::syscall(SYS_write, fd, parts[0].iov_base, parts[0].iov_len > 1 ? 1 : 0)
                            : ::syscall(SYS_writev, fd, parts, count);
}
ssize_t pread64(int fd, void* data, std::size_t size, off64_t at) {
    return bytes("read", SYS_pread64, fd, data, size, at);
}
ssize_t pwrite64(int fd, void const* data, std::size_t size, off64_t at) {
    return bytes("write", SYS_pwrite64, fd, data, size, at);
}
ssize_t pread(int fd, void* data, std::size_t size, off_t at) {
    return pread64(fd, data, size, at);
}
ssize_t pwrite(int fd, void const* data, std::size_t size, off_t at) {
    return pwrite64(fd, data, size, at);
}
ssize_t recv(int fd, void* data, std::size_t size, int flags) {
    return bytes("receive", SYS_recvfrom, fd, data, size, flags, nullptr, nullptr);
}
ssize_t send(int fd, void const* data, std::size_t size, int flags) {
    return bytes("send", SYS_sendto, fd, data, size, flags, nullptr, 0);
}
ssize_t recvmsg(int fd, msghdr* message, int flags) {
    return call<ssize_t>("receive", SYS_recvmsg, fd, message, flags);
}
ssize_t sendmsg(int fd, msghdr const* message, int flags) {
    return call<ssize_t>("send", SYS_sendmsg, fd, message, flags);
}
int open(char const* path, int flags, ...) {
    __builtin_va_list rest;
    __builtin_va_start(rest, flags);
    mode_t const mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? __builtin_va_arg(rest, mode_t) : 0;
    __builtin_va_end(rest);
    return opened(AT_FDCWD, path, flags, mode);
}
int openat(int folder, char const* path, int flags, ...) {
    __builtin_va_list rest;
    __builtin_va_start(rest, flags);
    mode_t const mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? __builtin_va_arg(rest, mode_t) : 0;
    __builtin_va_end(rest);
    return opened(folder, path, flags, mode);
}
int open64(char const* path, int flags, ...) __attribute__((alias("open")));
int openat64(int folder, char const* path, int flags, ...) __attribute__((alias("openat")));

int fsync(int fd) {
    return call("sync", SYS_fsync, fd);
}
int fdatasync(int fd) {
    return call("sync", SYS_fdatasync, fd);
}
int ftruncate(int fd, off_t size) {
    return call("change", SYS_ftruncate, fd, size);
}
int ftruncate64(int fd, off64_t size) {
    return call("change", SYS_ftruncate, fd, size);
}
int rename(char const* from, char const* to) noexcept {
    return call("change", SYS_rename, from, to);
}
int mkdir(char const* path, mode_t mode) noexcept {
    return call("change", SYS_mkdir, path, mode);
}
int socket(int domain, int type, int protocol) noexcept {
    return call("socket", SYS_socket, domain, type, protocol);
}
int bind(int fd, sockaddr const* address, socklen_t size) noexcept {
    return call("socket", SYS_bind, fd, address, size);
}
int listen(int fd, int waiting) noexcept {
    return call("socket", SYS_listen, fd, waiting);
}
int connect(int fd, sockaddr const* address, socklen_t size) {
    return call("connect", SYS_connect, fd, address, size);
}
int accept4(int fd, sockaddr* address, socklen_t* size, int flags) {
    return call("connect", SYS_accept4, fd, address, size, flags);
}
int epoll_create1(int flags) noexcept {
    return call("socket", SYS_epoll_create1, flags);
}
int epoll_wait(int fd, epoll_event* events, int most, int milliseconds) {
    return call("wait", SYS_epoll_wait, fd, events, most, milliseconds);
}
int poll(struct pollfd* all, unsigned long count, int milliseconds) {
    return call("wait", SYS_poll, all, count, milliseconds);
}

void* malloc(std::size_t size) noexcept {
    return faultOf("memory") != nothing ? nullptr : __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) noexcept {
    return faultOf("memory") != nothing ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* old, std::size_t size) noexcept {
    return faultOf("memory") != nothing ? nullptr : __libc_realloc(old, size);
}

using Main = int (*)(int, char**, char**);
static Main theirMain;
static int mainWithFaults(int count, char** arguments, char** environment);

int __libc_start_main(Main main, int count, char** arguments, void (*init)(), void (*fini)(),
                      void (*loaderFini)(), void* stack) {
    theirMain = main;
    auto const own = reinterpret_cast<decltype(&__libc_start_main)>(::dlsym(RTLD_NEXT, "__libc_start_main"));
    return own(mainWithFaults, count, arguments, init, fini, loaderFini, stack);
}

} // extern "C"

namespace {

void to(char const* folder, char const* name, char const* end, int fd) {
    char path[512];
    std::snprintf(path, sizeof path, "%s/%s%s", folder, name, end);
    int const file = opened(AT_FDCWD, path, O_CREAT | O_WRONLY | O_TRUNC, 0600);
    ::dup2(file, fd);
    ::syscall(SYS_close, file);
}

/// Makes a process that has the fault; whether this is that process. Else whether it had the fault is told.
bool isWith(Spec const& spec, char const* folder, std::FILE* all, bool& hasHappened) {
    char name[64];
    std::snprintf(name, sizeof name, "%s:%s:%ld%s", spec.kind, spec.error, spec.number,
                  spec.isLasting ? "+" : "");
    ::lseek(STDIN_FILENO, 0, SEEK_SET); // which all share
    *fault.seen = {};
    pid_t const child = ::fork();
    if (child == 0) {
        to(folder, name, ".out", STDOUT_FILENO);
        to(folder, name, ".err", STDERR_FILENO);
        begin(spec);
        return true;
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    hasHappened = fault.seen->hasHappened;
    if (hasHappened) {
        std::fprintf(all, "%s %d\n", name, status);
    }
    return false;
}

} // namespace

extern "C" int mainWithFaults(int count, char** arguments, char** environment) {
    Spec spec;
    if (char const* one = std::getenv("LOAM_FAULT"); one != nullptr && next(one, spec)) {
        begin(spec);
    }
    char const* list = std::getenv("LOAM_FAULTS");
    char const* const folder = std::getenv("LOAM_FAULTS_IN");
    if (list == nullptr || folder == nullptr) {
        return theirMain(count, arguments, environment);
    }
    fault.seen = static_cast<Fault::Seen*>(
        ::mmap(nullptr, sizeof(Fault::Seen), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    char path[512];
    std::snprintf(path, sizeof path, "%s/all", folder);
    std::FILE* const all = std::fopen(path, "we");
    std::setvbuf(all, nullptr, _IONBF, 0); // a copy in each process would be written, too
    while (next(list, spec)) {
        long const most = std::labs(spec.number);
        bool const fromEnd = spec.number < 0;
        bool hasHappened = true;
        if (fromEnd) { // one that none of its calls reaches counts them
            spec.number = std::numeric_limits<long>::max();
            if (isWith(spec, folder, all, hasHappened)) {
                return theirMain(count, arguments, environment);
            }
            hasHappened = true;
        }
        long const end = fault.seen->calls;
        long from = 0;
        for (long i = 0; i < most && hasHappened; ++i) {
            from += 1 + from / (fromEnd ? 12 : 4);
            spec.number = fromEnd ? end + 1 - from : from;
            if (isWith(spec, folder, all, hasHappened)) {
                return theirMain(count, arguments, environment);
            }
        }
    }
    std::fclose(all);
    return 0;
}
