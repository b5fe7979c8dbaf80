#include <gpal/Storage.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>
#include <utility>

#include "base/cancellation.h"
#include "base/errno_kept.h"
#include "cancelled.h"

using gpal::detail::cancellably;
using gpal::detail::DestroyedIfCancelled;
using gpal::detail::ErrnoKept;
using gpal::detail::runCommand;

namespace
{

const char* const LOGGED_AS = "packInternal";

void logFailure(const char* call, const char* path, int reason)
{
    const ErrnoKept ofTheFailure;
    syslog(LOG_ERR, "%s: %s: \"%s\": %s", LOGGED_AS, call, path, std::strerror(reason));
}

void logFailure(const char* call)
{
    const ErrnoKept ofTheFailure;
    syslog(LOG_ERR, "%s: %s: %s", LOGGED_AS, call, std::strerror(errno));
}

/// The temporary list of members that `tar -T` reads. It is removed when it goes, whichever way;
/// but not if no stream could be opened on it.
class MemberList
{
public:
    MemberList() = default;
    MemberList(const MemberList&) = delete;
    MemberList& operator=(const MemberList&) = delete;
    ~MemberList();

    bool create();
    bool add(const char* member);
    /// Brings the list to the disk, where tar finds it.
    bool finish();
    /// Removes the list and logs what fails.
    void remove();
    const char* name() const { return m_name; }

private:
    /// Why the list could not be unlinked, and closed; 0 for what could be done.
    struct Failures {
        int unlink = 0;
        int close = 0;
    };
    Failures discard();

    char m_name[sizeof "/tmp/listOfTarFilesXXXXXX"] = "/tmp/listOfTarFilesXXXXXX";
    int m_descriptor = -1;
    std::FILE* m_stream = nullptr;
};

/// Of a list that was not removed, as its thread was cancelled or memory ran out.
MemberList::~MemberList()
{
    if (m_stream != nullptr) {
        __fpurge(m_stream); // to write it could block
        discard();
    }
}

MemberList::Failures MemberList::discard()
{
    Failures failures;
    const ErrnoKept ofThePack;
    const gpal::detail::CancellationHeldOff untilRemoved;
    if (unlink(m_name) != 0) {
        failures.unlink = errno;
    }
    if (fclose(m_stream) != 0) {
        failures.close = errno;
    }
    m_stream = nullptr;
    return failures;
}

void MemberList::remove()
{
    const Failures failures = discard();
    if (failures.unlink != 0) {
        logFailure("unlink", m_name, failures.unlink);
    }
    if (failures.close != 0) {
        logFailure("close", m_name, failures.close);
    }
}

bool MemberList::create()
{
    m_descriptor = mkstemp(m_name);
    if (m_descriptor == -1) {
        logFailure("mkstemp");
        return false;
    }
    m_stream = fdopen(m_descriptor, "w");
    if (m_stream == nullptr) {
        logFailure("fdopen");
        return false;
    }
    return true;
}

bool MemberList::add(const char* member)
{
    if (cancellably([=] { return fprintf(m_stream, "%s\n", member); }) < 0) {
        logFailure("fprintf", m_name, errno);
        return false;
    }
    return true;
}

bool MemberList::finish()
{
    // Small C libraries flush successfully what they have lost already, and close it so too.
    if (cancellably([this] { return fflush(m_stream); }) != 0 || ferror(m_stream) != 0) {
        logFailure("fflush", m_name, errno);
        return false;
    }
    if (cancellably([this] { return fsync(m_descriptor); }) != 0) {
        logFailure("fsync", m_name, errno);
        return false;
    }
    return true;
}

bool isLinkOrMissing(std::string const& path)
{
    struct stat file {
    };
    return lstat(path.c_str(), &file) != 0 || S_ISLNK(file.st_mode);
}

/// Runs tar; a failure is logged with the status as the shell left it.
bool runTar(std::string const& command)
{
    const int status = runCommand(command.c_str());
    if (status != 0) {
        const ErrnoKept ofTheFailure;
        syslog(LOG_ERR, "%s: system: Failed with exit code: %d", LOGGED_AS, status);
    }
    return status == 0;
}

/// Writes the list and runs tar.
bool packMembers(MemberList& members, std::string const& archive, bool checkExistence,
                 std::list<std::string> const& files, bool compress, bool skipLinks, bool relative)
{
    std::string directory;
    for (const std::string& file : files) {
        if (checkExistence && !Storage::fileExists_stat(file)) {
            logFailure("stat", file.c_str(), errno);
            return false;
        }
        const std::size_t nameStart = file.rfind('/') + 1; // 0 without a '/'
        if (relative && directory.empty()) {
            directory.append(file.c_str(), nameStart);
        }
        if (skipLinks && isLinkOrMissing(file)) {
            continue;
        }
        if (!members.add(file.c_str() + (relative ? nameStart : 0))) {
            return false;
        }
    }
    if (!members.finish()) {
        return true; // clients rely on this result: false means a bad file or a failed tar
    }
    if (!directory.empty()) {
        directory.insert(0, " -C ");
    }
    std::string command(compress ? "tar -cz -T " : "tar -c -T ");
    command.append(members.name()).append(directory).append(" -f ").append(archive);
    return runTar(command.append(" > /dev/null 2>&1"));
}

/// Has an archive that is there unpacked by a command of these parts.
bool unpackInto(const char* tar, std::string const& archive, const char* option,
                const char* directory)
{
    if (!Storage::fileExists_stat(archive)) {
        return false;
    }
    std::string command(tar);
    command.append(archive).append(option).append(directory);
    return runCommand(command.c_str()) == 0;
}

} // namespace

bool Storage::pack(std::string const& archive, bool checkExistence, std::list<std::string> files,
                   bool compress, bool skipLinks)
{
    return packInternal(archive, checkExistence, std::move(files), compress, skipLinks, false);
}

bool Storage::packRelativeFiles(std::string const& archive, std::list<std::string> files)
{
    return packInternal(archive, false, std::move(files), true, false, true);
}

bool Storage::packInternal(std::string const& archive, bool checkExistence,
                           std::list<std::string> files, bool compress, bool skipLinks,
                           bool relative)
{
    MemberList members;
    const DestroyedIfCancelled whenCancelled(members);
    if (!members.create()) {
        return false;
    }
    const bool packed =
        packMembers(members, archive, checkExistence, files, compress, skipLinks, relative);
    members.remove();
    return packed;
}

bool Storage::unpack(std::string const& archive, bool intoRoot)
{
    return unpackInto("tar xzf ", archive, intoRoot ? " -C /" : "", "");
}

bool Storage::unpackandunzip(std::string const& archive, std::string const& directory)
{
    return unpackInto("tar -xzvf ", archive, " -C ", directory.c_str());
}
