#include "record_file.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <stdexcept>
#include <sys/file.h>
#include <unistd.h>

#include <gpal/Storage.h>

namespace supervisor
{
namespace
{

const char* const NAME = "supervisor.records";
constexpr std::size_t LONGEST = 1000; // the record storage reads lines of up to 1022 characters
constexpr std::ios_base::openmode READ = std::ios_base::in | std::ios_base::binary;
constexpr std::ios_base::openmode APPEND =
    std::ios_base::out | std::ios_base::app | std::ios_base::binary;

[[noreturn]] void fail(const std::string& what, const std::string& path, int error)
{
    throw std::runtime_error(what + " " + path + ": " + std::strerror(error));
}

/// The directory of the record, resolved: `tar` is told it together with other paths.
std::string volatileDirectory()
{
    const std::string location =
        Storage::addTrailingForwardSlash(Storage::prependWithVolatileStorageLocation(""));
    char resolved[PATH_MAX];
    if (realpath(location.empty() ? "." : location.c_str(), resolved) == nullptr) {
        fail("cannot use the directory", location, errno);
    }
    return Storage::addTrailingForwardSlash(resolved);
}

int countRecords(const std::string& path)
{
    char line[1024];
    Storage storage;
    storage.init(path.c_str(), READ, APPEND);
    int count = 0;
    while (storage.retrieve("", line) > 0) {
        ++count;
    }
    return count;
}

std::string asOneLine(std::string text)
{
    text.resize(std::min(text.size(), LONGEST));
    std::replace_if(
        text.begin(), text.end(),
        [](char character) { return character == '\0' || character == '\n' || character == '\r'; },
        '?');
    return text;
}

} // namespace

RecordFile::RecordFile() : m_directory(volatileDirectory()), m_path(m_directory + NAME)
{
    m_lock = open(m_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (m_lock < 0) {
        fail("cannot write", m_path, errno);
    }
    if (flock(m_lock, LOCK_EX | LOCK_NB) != 0) {
        const int error = errno;
        close(m_lock);
        if (error == EWOULDBLOCK) {
            throw std::runtime_error(m_path + ": another supervisor keeps its record there");
        }
        fail("cannot lock", m_path, error);
    }
    try {
        completeLastRecord();
    } catch (...) {
        close(m_lock);
        throw;
    }
    m_count = countRecords(m_path);
}

RecordFile::~RecordFile()
{
    close(m_lock);
}

/// A supervisor that was cut off in the middle of a record leaves it without its line feed; the
/// next record would continue it.
void RecordFile::completeLastRecord()
{
    char last = '\n';
    const off_t size = lseek(m_lock, 0, SEEK_END);
    if (size > 0 && pread(m_lock, &last, 1, size - 1) == 1 && last != '\n') {
        write("");
    }
}

void RecordFile::append(const std::string& text)
{
    write(asOneLine(text));
    ++m_count;
}

/// A record that was stored may still be in the stream's buffer, and a write that fails when that
/// is emptied is not reported: only the size of the file tells.
void RecordFile::write(std::string line)
{
    const int before = Storage::fileSize(m_path);
    if (before < 0) {
        fail("cannot write", m_path, errno);
    }
    errno = 0;
    {
        Storage storage;
        storage.init(m_path.c_str(), READ, APPEND);
        storage.store("", line.data(), static_cast<int>(line.size()));
    }
    const int error = errno == 0 ? EIO : errno;
    if (Storage::fileSize(m_path) != before + static_cast<int>(line.size()) + 1) {
        if (truncate(m_path.c_str(), before) != 0) {
            fail("cannot remove half a record from", m_path, errno);
        }
        fail("cannot write", m_path, error);
    }
}

void RecordFile::empty()
{
    Storage storage;
    storage.init(m_path.c_str(), READ, APPEND);
    if (storage.clear() == 0 || Storage::fileSize(m_path) != 0) {
        throw std::runtime_error("cannot empty " + m_path + ", whose records are archived");
    }
    m_count = 0;
}

} // namespace supervisor
