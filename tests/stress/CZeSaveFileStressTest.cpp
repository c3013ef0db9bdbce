// Save files under a file-size limit (RLIMIT_FSIZE, which binds root too),
// with SIGXFSZ ignored so that the system refuses the writes instead of
// ending the process. Saves of every size around the limit, written in
// pieces of every size, from four threads at once: a save that fits is
// committed whole, one that does not leaves its target untouched, reports the
// refusal and leaves no temporary file behind.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <random>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <vector>

#include "CZeSaveFile.h"
#include "support/MessageCapture.h"
#include "support/TemporaryDirectory.h"

namespace {

constexpr rlim_t kLimit = 16 * 1024;

// Lowers the soft file-size limit and ignores SIGXFSZ for its lifetime.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        m_valid = ::getrlimit(RLIMIT_FSIZE, &m_previous) == 0 &&
                  (m_previous.rlim_max == RLIM_INFINITY || m_previous.rlim_max >= bytes);
        if (!m_valid)
            return;
        m_previousHandler = std::signal(SIGXFSZ, SIG_IGN);
        struct rlimit lowered = m_previous;
        lowered.rlim_cur = bytes;
        m_valid = ::setrlimit(RLIMIT_FSIZE, &lowered) == 0;
    }
    ~FileSizeLimit()
    {
        if (m_previousHandler != SIG_ERR) {
            ::setrlimit(RLIMIT_FSIZE, &m_previous);
            std::signal(SIGXFSZ, m_previousHandler);
        }
    }
    bool isValid() const { return m_valid; }

private:
    struct rlimit m_previous {};
    void (*m_previousHandler)(int) = SIG_ERR;
    bool m_valid = false;
};

struct SaveOutcome {
    bool opened = false;
    bool committed = false;
    CZeFileDevice::FileError error = CZeFileDevice::NoError;
    std::string errorText;
};

// Saves `content` to `target` in pieces of at most `piece` bytes.
SaveOutcome save(const std::string& target, const std::string& content, size_t piece)
{
    SaveOutcome out;
    CZeSaveFile file(CZeString::fromUtf8(target.c_str()));
    out.opened = file.open(CZeIODevice::WriteOnly);
    if (!out.opened)
        return out;
    for (size_t at = 0; at < content.size(); at += piece)
        file.write(content.data() + at, int64_t(std::min(piece, content.size() - at)));
    out.committed = file.commit();
    out.error = file.error();
    const CZeByteArray text = file.errorString().toUtf8();
    out.errorText.assign(text.constData(), size_t(text.size()));
    return out;
}

} // namespace

TEST(CZeSaveFileStress, FileSizeLimitKeepsEveryTargetIntact)
{
    TemporaryDirectory dir;
    ASSERT_TRUE(dir.isValid());
    constexpr int kThreads = 4, kSaves = 42; // every size and piece alike often
    std::vector<std::string> targets, current;
    for (int t = 0; t < kThreads; ++t) {
        targets.push_back(dir.file("target" + std::to_string(t) + ".bin"));
        current.push_back("before " + std::to_string(t));
        ASSERT_TRUE(writeFileText(targets.back(), current.back()));
    }
    // Sizes right at the limit, just past it, well past it, and well below.
    const size_t sizes[] = {kLimit, kLimit + 1, kLimit - 1, 3 * kLimit, 100, kLimit + 4096};
    const size_t pieces[] = {1, 7, 512, 4096, 5000, 64 * 1024};

    MessageCapture capture;
    std::atomic<int> failures{0};
    std::vector<std::string> problems[kThreads];
    {
        FileSizeLimit limit(kLimit);
        ASSERT_TRUE(limit.isValid());
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back([&, t] {
                std::mt19937 rng(uint32_t(t + 1));
                for (int i = 0; i < kSaves; ++i) {
                    const size_t size = sizes[(i + t) % 6];
                    const size_t piece = pieces[(i / 6 + t) % 6];
                    std::string content(size, char('a' + (i + t) % 26));
                    content[0] = char('0' + i % 10);
                    const SaveOutcome o = save(targets[t], content, piece);
                    const std::string what = "save " + std::to_string(i) + " of " +
                                             std::to_string(size) + " bytes in pieces of " +
                                             std::to_string(piece) + ": ";
                    const std::string now = readFileText(targets[t]);
                    if (!o.opened) {
                        problems[t].push_back(what + "not opened");
                    } else if (size <= kLimit) {
                        if (!o.committed || now != content)
                            problems[t].push_back(what + "not committed: " + o.errorText);
                        else
                            current[t] = content;
                    } else {
                        failures.fetch_add(1);
                        if (o.committed)
                            problems[t].push_back(what + "committed beyond the limit");
                        else if (o.error != CZeFileDevice::WriteError ||
                                 o.errorText != std::strerror(EFBIG))
                            problems[t].push_back(what + "reported '" + o.errorText + "'");
                        if (now != current[t])
                            problems[t].push_back(what + "target changed");
                    }
                }
            });
        for (std::thread& th : threads)
            th.join();
    }
    for (const auto& list : problems)
        for (const std::string& p : list)
            ADD_FAILURE() << p;
    EXPECT_EQ(failures.load(), kThreads * kSaves / 2);

    // Only the targets are left: no temporary file of any save.
    std::vector<std::string> expected;
    for (int t = 0; t < kThreads; ++t)
        expected.push_back("target" + std::to_string(t) + ".bin");
    EXPECT_EQ(dir.entries(), expected);
    for (int t = 0; t < kThreads; ++t)
        EXPECT_EQ(readFileText(targets[t]), current[t]);

    // Without the limit the largest save goes through.
    const SaveOutcome o = save(targets[0], std::string(3 * kLimit, 'z'), 4096);
    EXPECT_TRUE(o.committed) << o.errorText;
}
