// The reason of a failure, which clients find in errno whatever is called after it.
#include <gpal/BinaryStorage.h>

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <unistd.h>

#include "support/file_calls.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

namespace calls = support::calls;

using support::Replacement;

namespace
{

/// Whatever is called after a failure leaves an errno of its own.
class FailureReason : public testing::Test
{
protected:
    static constexpr int OTHER = 9999;

    static int refuse(int reason)
    {
        errno = reason;
        return -1;
    }

    support::TemporaryDirectory m_directory;
    const std::string m_file = m_directory.file("file", "text");
    std::string m_missing = m_directory.path("missing/file");
    Replacement<void(int, const char*, va_list)> m_log{
        calls::vsyslog, [](int, const char*, va_list) { errno = OTHER; }};
    Replacement<int(std::FILE*)> m_closing{calls::fclose, [](std::FILE* file) {
                                               const int result = calls::fclose.original(file);
                                               errno = OTHER;
                                               return result;
                                           }};
};

} // namespace

TEST_F(FailureReason, ofAMoveIsTheRemovals)
{
    EXPECT_FALSE(Storage::mvFile(m_file, m_missing));
    EXPECT_EQ(errno, ENOENT);
    const Replacement failing(calls::remove, [this](const char* path) {
        return path == m_file ? refuse(EROFS) : calls::remove.original(path);
    });
    EXPECT_FALSE(Storage::mvFile(m_file, m_directory.file("target", "old")));
    EXPECT_EQ(errno, EROFS);
}

TEST_F(FailureReason, ofAFileThatIsMadeIsTheOpenings)
{
    EXPECT_FALSE(Storage::simpleCreateFile(m_missing.c_str(), "text"));
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(FailureReason, ofACopyIsTheOpeningsOfTheDestination)
{
    EXPECT_FALSE(Storage::copyFile_noEx(m_file, m_missing));
    EXPECT_EQ(errno, ENOENT);
    const Replacement elsewhere(calls::rename,
                                [](const char*, const char*) { return refuse(EXDEV); });
    EXPECT_FALSE(Storage::renameFile(m_file, m_missing));
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(FailureReason, ofAComparisonIsTheProgramsExamination)
{
    const Replacement failing(calls::stat, [](const char* path, struct stat* file) {
        return std::strcmp(path, "/bin/busybox") == 0 ? refuse(EACCES)
                                                      : calls::stat.original(path, file);
    });
    EXPECT_EQ(Storage::compareFiles(m_file, m_file), -1);
    EXPECT_EQ(errno, EACCES);
}

TEST_F(FailureReason, ofAComparisonIsTheWaitsEvenIfAChildIsToBeEndedThen)
{
    if (access("/bin/busybox", X_OK) != 0) {
        GTEST_SKIP() << "no /bin/busybox here";
    }
    const Replacement quick(calls::sleep, [](unsigned int) {
        errno = OTHER;
        return 0U;
    });
    const Replacement failing(calls::waitpid, [](pid_t child, int* status, int options) {
        return options == 0 ? refuse(EINVAL) : calls::waitpid.original(child, status, options);
    });
    EXPECT_EQ(Storage::compareFiles(m_file, m_file), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(FailureReason, ofAPackIsTheFailingSteps)
{
    const Replacement unlinking(calls::unlink, [](const char* path) {
        const int result = calls::unlink.original(path);
        errno = OTHER;
        return result;
    });
    EXPECT_FALSE(Storage::pack("a.tar", true, {m_missing}, false, false));
    EXPECT_EQ(errno, ENOENT);
    const Replacement failing(calls::mkstemp, [](char*) { return refuse(ENOSPC); });
    EXPECT_FALSE(Storage::pack("a.tar", false, {}, false, false));
    EXPECT_EQ(errno, ENOSPC);
}

TEST_F(FailureReason, ofABinaryFileIsTheOpeningsOrTheWritings)
{
    BinaryStorage storage;
    char data[] = "few";
    const support::Captured console(1);
    EXPECT_EQ(storage.store(m_missing.data(), data, 3U), 0);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(storage.retrieve(m_missing.data(), data, 3U), 0);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(storage.clear(m_missing.data()), 0);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(storage.clear(nullptr), 0);
    EXPECT_EQ(errno, EFAULT);
    const Replacement failing(calls::fwrite, [](const void*, std::size_t, std::size_t, std::FILE*) {
        errno = ENOSPC;
        return std::size_t{0};
    });
    std::string path = m_file;
    EXPECT_EQ(storage.store(path.data(), data, 3U), 0);
    EXPECT_EQ(errno, ENOSPC);
}
