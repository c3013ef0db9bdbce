/*
 * Captures every message the library emits, through its message callback
 * (ZecLut3DSetMessageCallback); the messages still go to the system log.
 *
 *   MessageCapture capture;          // starts empty, restores log switches on exit
 *   ...call the library...
 *   EXPECT_TRUE(capture.contains("We only support NV12"));
 */
#ifndef TESTS_SUPPORT_MESSAGECAPTURE_H
#define TESTS_SUPPORT_MESSAGECAPTURE_H

#include <string>
#include <vector>

struct CapturedMessage {
    int priority;
    std::string tag;
    std::string text;
};

class MessageCapture {
public:
    MessageCapture();
    ~MessageCapture();
    std::vector<CapturedMessage> messages() const;
    size_t count() const;
    bool contains(const std::string& fragment) const;
    void clear();
};

#endif
