/// \file
/// A folder of a test's own.
#ifndef GPAL_TESTS_SUPPORT_TEMPORARY_DIRECTORY_H
#define GPAL_TESTS_SUPPORT_TEMPORARY_DIRECTORY_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace support
{

/// An empty folder, removed with all that is in it.
class TemporaryDirectory
{
public:
    explicit TemporaryDirectory(const std::string& parent = "/tmp")
        : m_path(parent + "/gpal-test-XXXXXX")
    {
        mkdtemp(m_path.data());
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    const std::string& path() const { return m_path; }
    std::string path(const std::string& name) const { return m_path + "/" + name; }

    /// Makes a file and returns its path.
    std::string file(const std::string& name, const std::string& content) const
    {
        std::ofstream(path(name), std::ios::binary) << content;
        return path(name);
    }

private:
    std::string m_path;
};

inline std::string contentOf(const std::string& path)
{
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

inline bool exists(const std::string& path)
{
    return std::filesystem::exists(std::filesystem::symlink_status(path));
}

} // namespace support

#endif
