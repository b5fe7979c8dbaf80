#include "archive.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <list>
#include <stdexcept>
#include <unistd.h>

#include <gpal/FileManager.h>
#include <gpal/Storage.h>

namespace supervisor
{
namespace
{

const std::string PREFIX = "supervisor.";
const std::string SUFFIX = ".tgz";
const char* const PLAIN_CHARACTERS = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                     "0123456789/._-+,@%";

[[noreturn]] void fail(const RecordFile& record, const std::string& reason)
{
    throw std::runtime_error("cannot archive " + record.path() +
                             ", which stays as it is: " + reason);
}

/// A folder beside the record in which an archive is made and tried.
class Workshop
{
public:
    explicit Workshop(const RecordFile& record) : m_path(record.directory() + PREFIX + "XXXXXX")
    {
        if (mkdtemp(m_path.data()) == nullptr) {
            fail(record, std::strerror(errno));
        }
    }
    Workshop(const Workshop&) = delete;
    Workshop& operator=(const Workshop&) = delete;
    ~Workshop() { Storage::deleteNonEmptyDirectory(m_path); }

    const std::string& path() const { return m_path; }
    std::string path(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

/// For a scope, the working directory is another and nothing is seen of what commands complain of:
/// that is where the layer unpacks to, and the supervisor has a line of its own to say.
class QuietlyIn
{
public:
    explicit QuietlyIn(const std::string& directory)
        : m_directory(open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
          m_errors(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1))
    {
        const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(nothing, STDERR_FILENO);
        close(nothing);
        m_entered = m_directory >= 0 && chdir(directory.c_str()) == 0;
    }
    QuietlyIn(const QuietlyIn&) = delete;
    QuietlyIn& operator=(const QuietlyIn&) = delete;
    ~QuietlyIn()
    {
        m_entered = m_entered && fchdir(m_directory) == 0;
        close(m_directory);
        dup2(m_errors, STDERR_FILENO);
        close(m_errors);
    }

    bool entered() const { return m_entered; }

private:
    int m_directory;
    int m_errors;
    bool m_entered = false;
};

bool unpackInto(const std::string& directory, const std::string& archive)
{
    const QuietlyIn there(directory);
    return there.entered() && Storage::unpack(archive, false);
}

bool haveTheSameContent(const std::string& one, const std::string& other)
{
    FileManager files;
    return files.size(one) == files.size(other) && files.isPrefix(one, other);
}

/// Brings a file to the disk.
bool synchronize(const std::string& path)
{
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const bool done = file >= 0 && fsync(file) == 0;
    close(file);
    return done;
}

/// The number in the name of an archive; 0 if it is none.
int numberOf(const std::string& name)
{
    constexpr std::size_t MOST_DIGITS = 9;
    if (name.size() <= PREFIX.size() + SUFFIX.size() ||
        name.compare(0, PREFIX.size(), PREFIX) != 0 ||
        name.compare(name.size() - SUFFIX.size(), SUFFIX.size(), SUFFIX) != 0) {
        return 0;
    }
    const std::string digits =
        name.substr(PREFIX.size(), name.size() - PREFIX.size() - SUFFIX.size());
    const bool isNumber =
        digits.size() <= MOST_DIGITS && digits.find_first_not_of("0123456789") == std::string::npos;
    return isNumber ? std::atoi(digits.c_str()) : 0;
}

/// A name that no archive has or had while there were later ones.
std::string nextArchive(const std::string& directory)
{
    constexpr std::size_t DIGITS = 4;
    std::list<std::string> names;
    Storage::getListOfFilesAndLinksByDirectory(directory, &names, false);
    int highest = 0;
    for (const std::string& name : names) {
        highest = std::max(highest, numberOf(name));
    }
    std::string number = std::to_string(highest + 1);
    number.insert(0, DIGITS - std::min(DIGITS, number.size()), '0');
    return directory + PREFIX + number + SUFFIX;
}

} // namespace

void checkThatArchivesArePossible(const RecordFile& record)
{
    if (record.path().find_first_not_of(PLAIN_CHARACTERS) != std::string::npos) {
        throw std::runtime_error("cannot make archives in " + record.directory() +
                                 ": its path may hold letters, digits and /._-+,@% only");
    }
}

std::string moveIntoArchive(RecordFile& record)
{
    const Workshop workshop(record);
    const std::string fresh = workshop.path("fresh.tgz");
    if (!Storage::packRelativeFiles(fresh, {record.path()})) {
        fail(record, "tar failed (disk full, or a tar that --help warns of)");
    }
    const std::string name = record.path().substr(record.directory().size());
    if (!unpackInto(workshop.path(), fresh) ||
        !haveTheSameContent(record.path(), workshop.path(name)) || !synchronize(fresh)) {
        fail(record, "what tar made does not unpack to the same (disk full?)");
    }
    std::string archive = nextArchive(record.directory());
    if (!Storage::renameFile(fresh, archive)) {
        fail(record, archive + " could not be made");
    }
    record.empty();
    return archive;
}

} // namespace supervisor
