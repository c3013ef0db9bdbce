#include "ToolFiles.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <cstdlib>
#include <cstring>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

std::string systemError(const std::string& path)
{
    return path + ": " + std::strerror(errno);
}

bool endsWithIgnoringCase(const std::string& text, const std::string& suffix)
{
    if (text.size() < suffix.size())
        return false;
    for (size_t i = 0; i < suffix.size(); ++i) {
        const char a = text[text.size() - suffix.size() + i];
        const char b = suffix[i];
        const char la = (a >= 'A' && a <= 'Z') ? static_cast<char>(a - 'A' + 'a') : a;
        const char lb = (b >= 'A' && b <= 'Z') ? static_cast<char>(b - 'A' + 'a') : b;
        if (la != lb)
            return false;
    }
    return true;
}

bool readFilePrefix(
    const std::string& path, uint64_t limit, std::string& data, bool& truncated, std::string& error)
{
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) {
        error = systemError(path);
        return false;
    }
    data.clear();
    truncated = false;
    char buffer[65536];
    size_t got;
    // One byte past the limit tells a file of exactly `limit` bytes from a
    // longer one without reading the rest.
    while (!truncated && (got = std::fread(buffer, 1, sizeof buffer, file)) > 0) {
        const uint64_t room = limit - data.size();
        truncated = got > room;
        data.append(buffer, truncated ? static_cast<size_t>(room) : got);
    }
    const bool failed = std::ferror(file) != 0;
    if (failed)
        error = systemError(path);
    std::fclose(file);
    return !failed;
}

bool readWholeFile(const std::string& path, std::string& data, std::string& error, uint64_t limit)
{
    bool truncated = false;
    if (!readFilePrefix(path, limit, data, truncated, error))
        return false;
    if (truncated) {
        data.clear();
        error = path + ": larger than " + std::to_string(limit) + " bytes, too large to read";
        return false;
    }
    return true;
}

bool writeFileReplacing(const std::string& path, const void* data, size_t size, std::string& error)
{
    ReplacingFile file(path);
    return file.open(error) && file.write(data, size, error) && file.commit(error);
}

namespace {

// The temporary being written, for the signal handler: a fixed buffer, as
// only async-signal-safe calls may touch it there.
char g_pendingTemporary[4096];
volatile sig_atomic_t g_hasPending = 0;

void removePendingAndReraise(int signal)
{
    if (g_hasPending)
        ::unlink(g_pendingTemporary);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

void setPending(const std::string& path)
{
    g_hasPending = 0;
    if (path.size() < sizeof g_pendingTemporary) {
        std::memcpy(g_pendingTemporary, path.c_str(), path.size() + 1);
        g_hasPending = 1;
    }
}

void clearPending()
{
    g_hasPending = 0;
}

// The file a chain of symbolic links ends at (the path itself when it is no
// link); relative link targets count from the link's folder.
std::string finalPath(const std::string& path)
{
    std::string current = path;
    for (int step = 0; step < 40; ++step) {
        char target[4096];
        const ssize_t n = ::readlink(current.c_str(), target, sizeof target - 1);
        if (n <= 0)
            return current;
        const std::string next(target, static_cast<size_t>(n));
        const size_t slash = current.rfind('/');
        current = next[0] == '/' || slash == std::string::npos
                      ? next
                      : current.substr(0, slash + 1) + next;
    }
    return current;
}

std::string folderOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

void syncFolderOf(const std::string& path)
{
    const int folder = ::open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
        ::fsync(folder);
        ::close(folder);
    }
}

} // namespace

void removeTemporaryOnSignals()
{
    for (int signal : {SIGINT, SIGTERM, SIGHUP, SIGXFSZ})
        std::signal(signal, removePendingAndReraise);
}

bool outputIsNotAnInput(const std::string& output, const std::vector<std::string>& inputs,
                        std::string& error)
{
    struct stat out;
    if (output == "-" || ::stat(output.c_str(), &out) != 0)
        return true;
    for (const std::string& in : inputs) {
        struct stat st;
        if (in != "-" && ::stat(in.c_str(), &st) == 0 && st.st_dev == out.st_dev &&
            st.st_ino == out.st_ino) {
            error = output + ": is the same file as " + in + "; write to another file";
            return false;
        }
    }
    return true;
}

ReplacingFile::ReplacingFile(std::string path)
    : m_path(std::move(path))
{
}

ReplacingFile::~ReplacingFile()
{
    discard();
}

void ReplacingFile::discard()
{
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
    if (!m_temporary.empty()) {
        ::unlink(m_temporary.c_str());
        clearPending();
        m_temporary.clear();
    }
}

bool ReplacingFile::open(std::string& error)
{
    m_target = m_path == "-" ? "/dev/stdout" : finalPath(m_path);
    struct stat st;
    const bool exists = ::stat(m_target.c_str(), &st) == 0;
    if (m_path == "-" || (exists && !S_ISREG(st.st_mode))) {
        // A device, a pipe or standard output: no file to replace.
        m_fd = m_path == "-" ? ::dup(STDOUT_FILENO)
                             : ::open(m_target.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
        if (m_fd < 0)
            error = systemError(m_path);
        return m_fd >= 0;
    }
    // The name is made known to the signal handler before the file exists,
    // so that a signal (on any thread) finds it whenever the file is there.
    static std::mt19937 letters(std::random_device{}() ^ static_cast<unsigned>(::getpid()));
    const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    for (int attempt = 0; m_fd < 0 && attempt < 100; ++attempt) {
        m_temporary = m_target + ".zelut-";
        for (int i = 0; i < 6; ++i)
            m_temporary += alphabet[letters() % (sizeof alphabet - 1)];
        setPending(m_temporary);
        m_fd = ::open(m_temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (m_fd < 0)
            clearPending();
        if (m_fd < 0 && errno != EEXIST)
            break;
    }
    if (m_fd < 0) {
        m_temporary.clear();
        error = systemError(m_path);
        return false;
    }
    if (exists) {
        // The replacement keeps what the file had; a foreign owner can only
        // be kept by the owner or root, and is otherwise left as it falls.
        ::fchmod(m_fd, st.st_mode & 07777);
        if (::fchown(m_fd, st.st_uid, st.st_gid) != 0) {
        }
    } else {
        // mkstemp creates the file for its owner only; a new output gets the
        // permissions an ordinary new file would get.
        const mode_t mask = ::umask(0);
        ::umask(mask);
        ::fchmod(m_fd, 0666 & ~mask);
    }
    return true;
}

bool ReplacingFile::write(const void* data, size_t size, std::string& error)
{
    const char* p = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t n = ::write(m_fd, p, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            error = systemError(m_path);
            discard();
            return false;
        }
        p += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

bool ReplacingFile::commit(std::string& error)
{
    if (m_temporary.empty()) {
        const bool closed = ::close(m_fd) == 0;
        m_fd = -1;
        if (!closed)
            error = systemError(m_path);
        return closed;
    }
    // On disk, with the folder entry that will name it, before the rename:
    // a crash then leaves the old file or the new one, never a hole.
    if (::fsync(m_fd) != 0 || ::close(m_fd) != 0) {
        m_fd = -1;
        error = systemError(m_path);
        discard();
        return false;
    }
    m_fd = -1;
    syncFolderOf(m_target);
    if (::rename(m_temporary.c_str(), m_target.c_str()) != 0) {
        error = systemError(m_path);
        discard();
        return false;
    }
    clearPending();
    m_temporary.clear();
    syncFolderOf(m_target); // and the rename itself
    return true;
}

