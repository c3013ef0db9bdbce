/*
 * Frames in and out of zelut apply: raw NV12/NV21 frames back to back, or a
 * YUV4MPEG2 stream (the format ffmpeg pipes as -f yuv4mpegpipe), from a file
 * or from standard input ("-").
 *
 *   FrameReader in;
 *   if (!in.open("-", width, height, error)) fail(error);   // size 0x0 for YUV4MPEG2
 *   YuvFrame frame(in.width(), in.height());
 *   while (in.next(frame, error)) ...                        // error set on a short frame
 *
 * YUV4MPEG2 frames are 4:2:0 planar; they are interleaved into the NV12
 * layout on reading and taken apart again on writing, with the header of the
 * input repeated on the output.
 */
#ifndef ZELUT_FRAMESTREAM_H
#define ZELUT_FRAMESTREAM_H

#include <cstdint>
#include <string>

#include "ColourConvert.h"

struct Y4mHeader {
    uint32_t width = 0, height = 0;
    // From ffmpeg's XCOLORRANGE tag: 1 full, 0 limited, -1 not given.
    int fullRange = -1;
    std::string line; // the whole header line, its line feed included
};

// Parses a "YUV4MPEG2 ..." header line (without its line feed). False with a
// one-line reason for a malformed line or a chroma layout other than 4:2:0.
bool parseY4mHeader(const std::string& line, Y4mHeader& header, std::string& error);

class FrameReader {
public:
    FrameReader() = default;
    ~FrameReader();
    FrameReader(const FrameReader&) = delete;
    FrameReader& operator=(const FrameReader&) = delete;

    // Opens the path ("-": standard input) and reads a YUV4MPEG2 header if
    // there is one; raw frames take width x height (0x0: not given).
    bool open(const std::string& path, uint32_t width, uint32_t height, std::string& error);

    bool isY4m() const { return m_y4m; }
    // open() failed because raw frames came without a size.
    bool needsSize() const { return m_needsSize; }
    const Y4mHeader& header() const { return m_header; }
    uint32_t width() const { return m_width; }
    uint32_t height() const { return m_height; }
    // Frames in a regular raw file, known before reading; 0 otherwise.
    uint64_t knownFrames() const { return m_knownFrames; }

    // The next frame in the NV12 layout; false at the end of the input, with
    // `error` set when the input ended inside a frame or could not be read.
    bool next(YuvFrame& frame, std::string& error);

private:
    size_t readUpTo(uint8_t* data, size_t size);
    bool readLine(std::string& line, size_t limit);

    std::string m_path;
    int m_fd = -1;
    bool m_y4m = false;
    bool m_needsSize = false;
    Y4mHeader m_header;
    uint32_t m_width = 0, m_height = 0;
    uint64_t m_knownFrames = 0, m_frames = 0;
    std::string m_pending; // bytes read ahead while looking for a header
};

// The bytes of one frame as the output wants them: NV12 as it is, or for a
// YUV4MPEG2 output "FRAME\n" and the planar planes.
std::string y4mFrame(const YuvFrame& frame);

#endif
