#include "ToolFiles.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
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

bool readWholeFile(const std::string& path, std::string& data, std::string& error)
{
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) {
        error = systemError(path);
        return false;
    }
    data.clear();
    char buffer[65536];
    size_t got;
    while ((got = std::fread(buffer, 1, sizeof buffer, file)) > 0)
        data.append(buffer, got);
    const bool failed = std::ferror(file) != 0;
    if (failed)
        error = systemError(path);
    std::fclose(file);
    return !failed;
}

bool writeFileReplacing(const std::string& path, const void* data, size_t size, std::string& error)
{
    ReplacingFile file(path);
    return file.open(error) && file.write(data, size, error) && file.commit(error);
}

ReplacingFile::ReplacingFile(std::string path)
    : m_path(std::move(path))
{
}

ReplacingFile::~ReplacingFile()
{
    if (m_file) {
        std::fclose(m_file);
        ::unlink(m_temporary.c_str());
    }
}

bool ReplacingFile::open(std::string& error)
{
    m_temporary = m_path + ".zelut-XXXXXX";
    const int fd = ::mkstemp(&m_temporary[0]);
    if (fd < 0) {
        error = systemError(m_path);
        return false;
    }
    m_file = ::fdopen(fd, "wb");
    if (!m_file) {
        error = systemError(m_path);
        ::close(fd);
        ::unlink(m_temporary.c_str());
        return false;
    }
    // mkstemp creates the file for its owner only; give the result the
    // permissions an ordinary new file would get.
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ::fchmod(fd, 0666 & ~mask);
    return true;
}

bool ReplacingFile::write(const void* data, size_t size, std::string& error)
{
    if (size && std::fwrite(data, 1, size, m_file) != size) {
        error = systemError(m_path);
        return false;
    }
    return true;
}

bool ReplacingFile::commit(std::string& error)
{
    std::FILE* file = m_file;
    m_file = nullptr;
    if (std::fclose(file) != 0) {
        error = systemError(m_path);
        ::unlink(m_temporary.c_str());
        return false;
    }
    if (::rename(m_temporary.c_str(), m_path.c_str()) != 0) {
        error = systemError(m_path);
        ::unlink(m_temporary.c_str());
        return false;
    }
    return true;
}

TemporaryFile::TemporaryFile(
    const std::vector<uint8_t>& bytes, const char* suffix, std::string& error)
{
    const char* dir = std::getenv("TMPDIR");
    std::string name = std::string(dir && *dir ? dir : "/tmp") + "/zelut-XXXXXX" + suffix;
    const int fd = ::mkstemps(&name[0], static_cast<int>(std::strlen(suffix)));
    if (fd < 0) {
        error = systemError(name);
        return;
    }
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            error = systemError(name);
            ::close(fd);
            ::unlink(name.c_str());
            return;
        }
        done += static_cast<size_t>(n);
    }
    if (::close(fd) != 0) {
        error = systemError(name);
        ::unlink(name.c_str());
        return;
    }
    m_path = name;
}

TemporaryFile::~TemporaryFile()
{
    if (!m_path.empty())
        ::unlink(m_path.c_str());
}
