#include "support/file_calls.h"

#include <cstdlib>
#include <unistd.h>

// Where 64-bit file offsets had to be asked for, the C library's headers give some functions
// another name, which is also the one to look the real ones up by.
#ifdef __USE_FILE_OFFSET64
#define GPAL_OFFSET_NAME(name) name "64"
#else
#define GPAL_OFFSET_NAME(name) name
#endif

namespace support::calls
{

Replaceable<int(const char*, struct stat*)> stat(GPAL_OFFSET_NAME("stat"));
Replaceable<int(const char*, struct stat*)> lstat(GPAL_OFFSET_NAME("lstat"));
Replaceable<int(const char*, struct statfs*)> statfs(GPAL_OFFSET_NAME("statfs"));
Replaceable<int(const char*, int)> access("access");
Replaceable<int(const char*, mode_t)> chmod("chmod");
Replaceable<int(const char*, mode_t)> mkdir("mkdir");
Replaceable<int(const char*)> unlink("unlink");
Replaceable<int(const char*)> remove("remove");
Replaceable<int(const char*, const char*)> rename("rename");
Replaceable<int(const char*, const char*)> symlink("symlink");

Replaceable<DIR*(const char*)> opendir("opendir");
Replaceable<dirent*(DIR*)> readdir(GPAL_OFFSET_NAME("readdir"));
Replaceable<int(DIR*)> closedir("closedir");

Replaceable<int(char*)> mkstemp(GPAL_OFFSET_NAME("mkstemp"));
Replaceable<std::FILE*(int, const char*)> fdopen("fdopen");
Replaceable<std::FILE*(const char*, const char*)> fopen(GPAL_OFFSET_NAME("fopen"));
Replaceable<int(std::FILE*)> fflush("fflush");
Replaceable<int(int)> fsync("fsync");
Replaceable<std::size_t(const void*, std::size_t, std::size_t, std::FILE*)> fwrite("fwrite");
Replaceable<int(const char*, std::FILE*)> fputs("fputs");
Replaceable<std::size_t(void*, std::size_t, std::size_t, std::FILE*)> fread("fread");
Replaceable<int(std::FILE*)> fclose("fclose");
Replaceable<int(const char*)> puts("puts");
Replaceable<void()> sync("sync");

Replaceable<char*(const char*)> getenv("getenv");

} // namespace support::calls

namespace calls = support::calls;

extern "C" {

int stat(const char* path, struct stat* file) noexcept
{
    return calls::stat(path, file);
}

int lstat(const char* path, struct stat* file) noexcept
{
    return calls::lstat(path, file);
}

int statfs(const char* path, struct statfs* figures) noexcept
{
    return calls::statfs(path, figures);
}

int access(const char* path, int mode) noexcept
{
    return calls::access(path, mode);
}

int chmod(const char* path, mode_t mode) noexcept
{
    return calls::chmod(path, mode);
}

int mkdir(const char* path, mode_t mode) noexcept
{
    return calls::mkdir(path, mode);
}

int unlink(const char* path) noexcept
{
    return calls::unlink(path);
}

int remove(const char* path) noexcept
{
    return calls::remove(path);
}

int rename(const char* from, const char* to) noexcept
{
    return calls::rename(from, to);
}

int symlink(const char* target, const char* link) noexcept
{
    return calls::symlink(target, link);
}

DIR* opendir(const char* path)
{
    return calls::opendir(path);
}

dirent* readdir(DIR* directory)
{
    return calls::readdir(directory);
}

int closedir(DIR* directory)
{
    return calls::closedir(directory);
}

int mkstemp(char* name)
{
    return calls::mkstemp(name);
}

std::FILE* fdopen(int descriptor, const char* mode) noexcept
{
    return calls::fdopen(descriptor, mode);
}

std::FILE* fopen(const char* path, const char* mode)
{
    return calls::fopen(path, mode);
}

int fflush(std::FILE* stream)
{
    return calls::fflush(stream);
}

int fsync(int descriptor)
{
    return calls::fsync(descriptor);
}

std::size_t fwrite(const void* data, std::size_t size, std::size_t count, std::FILE* stream)
{
    return calls::fwrite(data, size, count, stream);
}

int fputs(const char* text, std::FILE* stream)
{
    return calls::fputs(text, stream);
}

std::size_t fread(void* buffer, std::size_t size, std::size_t count, std::FILE* stream)
{
    return calls::fread(buffer, size, count, stream);
}

int fclose(std::FILE* stream)
{
    return calls::fclose(stream);
}

int puts(const char* text)
{
    return calls::puts(text);
}

void sync() noexcept
{
    calls::sync();
}

char* getenv(const char* name) noexcept
{
    return calls::getenv(name);
}
}
