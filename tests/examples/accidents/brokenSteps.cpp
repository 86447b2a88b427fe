// Preloaded into a process, counts its steps: what it renames or brings to the disk. It dies before the one of the
// number KILLED_AT, and the one of the number FAILING_AT fails.

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

std::atomic<int> steps{0};

bool isNumberIn(const char* variable, int step) {
    const char* number = std::getenv(variable);
    return number && std::atoi(number) == step;
}

template <class... Arguments>
int step(long call, Arguments... arguments) {
    const int number = ++steps;
    if (isNumberIn("KILLED_AT", number))
        kill(getpid(), SIGKILL);
    if (isNumberIn("FAILING_AT", number)) {
        errno = EIO;
        return -1;
    }
    return static_cast<int>(syscall(call, arguments...));
}

} // namespace

extern "C" {

int rename(const char* from, const char* to) noexcept {
    return step(SYS_rename, from, to);
}
int renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) noexcept {
    return step(SYS_renameat2, fromFolder, from, toFolder, to, flags);
}
int fsync(int file) {
    return step(SYS_fsync, file);
}
int fdatasync(int file) {
    return step(SYS_fdatasync, file);
}

} // extern "C"
