#include "FrameStream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <sstream>

namespace {

constexpr char kMagic[] = "YUV4MPEG2 ";
constexpr size_t kMagicBytes = sizeof kMagic - 1;
// A header or frame line longer than this is not one.
constexpr size_t kMaxLine = 4096;

bool parseDimension(const std::string& text, uint32_t& value)
{
    if (text.empty() || text.size() > 6 || text.find_first_not_of("0123456789") != std::string::npos)
        return false;
    value = static_cast<uint32_t>(std::stoul(text));
    return value > 0 && value <= 65536;
}

} // namespace

bool parseY4mHeader(const std::string& line, Y4mHeader& header, std::string& error)
{
    header = Y4mHeader();
    if (line.compare(0, kMagicBytes, kMagic) != 0) {
        error = "not a YUV4MPEG2 stream";
        return false;
    }
    std::istringstream fields(line.substr(kMagicBytes));
    std::string field;
    bool hasW = false, hasH = false;
    while (fields >> field) {
        const std::string value = field.substr(1);
        switch (field[0]) {
        case 'W':
            hasW = parseDimension(value, header.width);
            break;
        case 'H':
            hasH = parseDimension(value, header.height);
            break;
        case 'C':
            if (value.compare(0, 3, "420") != 0) {
                error = "YUV4MPEG2 chroma C" + value + " is not 4:2:0; only C420 streams are read";
                return false;
            }
            break;
        case 'X':
            if (value == "COLORRANGE=FULL")
                header.fullRange = 1;
            else if (value == "COLORRANGE=LIMITED")
                header.fullRange = 0;
            break;
        default: // frame rate, interlacing, aspect: carried over as they are
            break;
        }
    }
    if (!hasW || !hasH) {
        error = "YUV4MPEG2 header without a valid width and height";
        return false;
    }
    header.line = line + "\n";
    return true;
}

FrameReader::~FrameReader()
{
    if (m_fd > 0)
        ::close(m_fd);
}

size_t FrameReader::readUpTo(uint8_t* data, size_t size)
{
    size_t done = 0;
    const size_t ahead = std::min(size, m_pending.size());
    std::memcpy(data, m_pending.data(), ahead);
    m_pending.erase(0, ahead);
    done = ahead;
    while (done < size) {
        const ssize_t n = ::read(m_fd, data + done, size - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        done += static_cast<size_t>(n);
    }
    return done;
}

bool FrameReader::readLine(std::string& line, size_t limit)
{
    line.clear();
    uint8_t c;
    while (line.size() < limit && readUpTo(&c, 1) == 1) {
        if (c == '\n')
            return true;
        line += static_cast<char>(c);
    }
    return false;
}

bool FrameReader::open(const std::string& path, uint32_t width, uint32_t height, std::string& error)
{
    m_path = path == "-" ? "standard input" : path;
    m_fd = path == "-" ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (m_fd < 0) {
        error = path + ": " + std::strerror(errno);
        return false;
    }
    uint8_t head[kMagicBytes];
    const size_t got = readUpTo(head, kMagicBytes);
    if (got == kMagicBytes && std::memcmp(head, kMagic, kMagicBytes) == 0) {
        std::string line;
        if (!readLine(line, kMaxLine) ||
            !parseY4mHeader(kMagic + line, m_header, error)) {
            if (error.empty())
                error = "YUV4MPEG2 header longer than " + std::to_string(kMaxLine) + " bytes";
            error = m_path + ": " + error;
            return false;
        }
        m_y4m = true;
        m_width = m_header.width;
        m_height = m_header.height;
        return true;
    }
    m_pending.assign(reinterpret_cast<const char*>(head), got);
    m_width = width;
    m_height = height;
    if (width == 0 || height == 0) {
        m_needsSize = true;
        error = "raw frames need --size WxH";
        return false;
    }
    struct stat st;
    const uint64_t frameBytes = YuvFrame::bytesFor(width, height);
    if (::fstat(m_fd, &st) == 0 && S_ISREG(st.st_mode)) {
        const uint64_t size = static_cast<uint64_t>(st.st_size);
        if (size == 0 || size % frameBytes != 0) {
            error = m_path + ": " + std::to_string(size) + " bytes are not a whole number of " +
                    std::to_string(width) + "x" + std::to_string(height) + " frames (" +
                    std::to_string(frameBytes) + " bytes each); check --size";
            return false;
        }
        m_knownFrames = size / frameBytes;
    }
    return true;
}

bool FrameReader::next(YuvFrame& frame, std::string& error)
{
    const uint32_t w = m_width, h = m_height;
    const std::string number = " " + std::to_string(m_frames + 1);
    if (!m_y4m) {
        const size_t got = readUpTo(frame.bytes.data(), frame.bytes.size());
        if (got == 0)
            return false;
        if (got < frame.bytes.size()) {
            error = m_path + ": the last frame is short: " + std::to_string(got) + " of " +
                    std::to_string(frame.bytes.size()) + " bytes";
            return false;
        }
        ++m_frames;
        return true;
    }
    std::string line;
    if (!readLine(line, kMaxLine)) {
        if (!line.empty())
            error = m_path + ": frame" + number + " has no complete FRAME line";
        return false;
    }
    if (line.compare(0, 5, "FRAME") != 0) {
        error = m_path + ": frame" + number + " does not start with FRAME";
        return false;
    }
    // Y as it is; U and V planes interleaved into the NV12 chroma rows.
    const size_t cw = (w + 1) / 2, ch = (h + 1) / 2, lumaBytes = size_t{w} * h;
    std::string planes(lumaBytes + 2 * cw * ch, '\0');
    const size_t got = readUpTo(reinterpret_cast<uint8_t*>(&planes[0]), planes.size());
    if (got < planes.size()) {
        error = m_path + ": frame" + number + " is short: " + std::to_string(got) + " of " +
                std::to_string(planes.size()) + " bytes";
        return false;
    }
    std::memcpy(frame.luma(), planes.data(), lumaBytes);
    uint8_t* chroma = frame.chroma();
    const char* u = planes.data() + lumaBytes;
    const char* v = u + cw * ch;
    for (size_t i = 0; i < cw * ch; ++i) {
        chroma[2 * i] = static_cast<uint8_t>(u[i]);
        chroma[2 * i + 1] = static_cast<uint8_t>(v[i]);
    }
    ++m_frames;
    return true;
}

std::string y4mFrame(const YuvFrame& frame)
{
    const size_t cw = (frame.width + 1) / 2, ch = (frame.height + 1) / 2;
    const size_t lumaBytes = size_t{frame.width} * frame.height;
    std::string out = "FRAME\n";
    out.append(reinterpret_cast<const char*>(frame.luma()), lumaBytes);
    const size_t at = out.size();
    out.resize(at + 2 * cw * ch);
    const uint8_t* chroma = frame.chroma();
    for (size_t i = 0; i < cw * ch; ++i) {
        out[at + i] = static_cast<char>(chroma[2 * i]);
        out[at + cw * ch + i] = static_cast<char>(chroma[2 * i + 1]);
    }
    return out;
}
