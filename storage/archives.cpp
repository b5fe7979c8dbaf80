#include <gpal/Storage.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include "base/cancellation.h"

namespace
{

const char* const LOGGED_AS = "packInternal";

void logFailure(const char* call, const char* path)
{
    syslog(LOG_ERR, "%s: %s: \"%s\": %s", LOGGED_AS, call, path, std::strerror(errno));
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
    bool add(std::string const& member);
    /// Brings the list to the disk, where tar finds it.
    bool finish();
    const char* name() const { return m_name; }

private:
    char m_name[sizeof "/tmp/listOfTarFilesXXXXXX"] = "/tmp/listOfTarFilesXXXXXX";
    int m_descriptor = -1;
    std::FILE* m_stream = nullptr;
};

MemberList::~MemberList()
{
    const gpal::detail::CancellationHeldOff untilRemoved;
    if (m_stream == nullptr) {
        return;
    }
    if (unlink(m_name) != 0) {
        logFailure("unlink", m_name);
    }
    if (fclose(m_stream) != 0) {
        logFailure("close", m_name);
    }
}

bool MemberList::create()
{
    m_descriptor = mkstemp(m_name);
    if (m_descriptor == -1) {
        syslog(LOG_ERR, "%s: mkstemp: %s", LOGGED_AS, std::strerror(errno));
        return false;
    }
    m_stream = fdopen(m_descriptor, "w");
    if (m_stream == nullptr) {
        syslog(LOG_ERR, "%s: fdopen: %s", LOGGED_AS, std::strerror(errno));
        return false;
    }
    return true;
}

bool MemberList::add(std::string const& member)
{
    if (fprintf(m_stream, "%s\n", member.c_str()) < 0) {
        logFailure("fprintf", m_name);
        return false;
    }
    return true;
}

bool MemberList::finish()
{
    if (fflush(m_stream) != 0) {
        logFailure("fflush", m_name);
        return false;
    }
    if (fsync(m_descriptor) != 0) {
        logFailure("fsync", m_name);
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
    const int status = std::system(command.c_str());
    if (status != 0) {
        syslog(LOG_ERR, "%s: system: Failed with exit code: %d", LOGGED_AS, status);
    }
    return status == 0;
}

} // namespace

bool Storage::pack(std::string const& archive, bool checkExistence, std::list<std::string> files,
                   bool compress, bool skipLinks)
{
    return packInternal(archive, checkExistence, files, compress, skipLinks, false);
}

bool Storage::packRelativeFiles(std::string const& archive, std::list<std::string> files)
{
    return packInternal(archive, false, files, true, false, true);
}

bool Storage::packInternal(std::string const& archive, bool checkExistence,
                           std::list<std::string> files, bool compress, bool skipLinks,
                           bool relative)
{
    MemberList members;
    if (!members.create()) {
        return false;
    }
    std::string directory;
    for (const std::string& file : files) {
        if (checkExistence && !fileExists_stat(file)) {
            logFailure("stat", file.c_str());
            return false;
        }
        const std::size_t nameStart = file.rfind('/') + 1; // 0 without a '/'
        if (relative && directory.empty()) {
            directory = file.substr(0, nameStart);
        }
        if (skipLinks && isLinkOrMissing(file)) {
            continue;
        }
        if (!members.add(relative ? file.substr(nameStart) : file)) {
            return false;
        }
    }
    if (!members.finish()) {
        return true; // callers take false for a bad file, drop it from the list and pack again
    }
    return runTar(std::string("tar -c") + (compress ? "z" : "") + " -T " + members.name() +
                  (directory.empty() ? "" : " -C " + directory) + " -f " + archive +
                  " > /dev/null 2>&1");
}

bool Storage::unpack(std::string const& archive, bool intoRoot)
{
    return fileExists_stat(archive) &&
           std::system(("tar xzf " + archive + (intoRoot ? " -C /" : "")).c_str()) == 0;
}

bool Storage::unpackandunzip(std::string const& archive, std::string const& directory)
{
    return fileExists_stat(archive) &&
           std::system(("tar -xzvf " + archive + " -C " + directory).c_str()) == 0;
}
