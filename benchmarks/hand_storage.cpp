#include "hand_storage.h"

#include <cstring>
#include <dirent.h>
#include <fstream>
#include <sys/stat.h>

namespace hand
{

bool listFiles(const std::string& directory, std::list<std::string>& result)
{
    result.clear();
    DIR* stream = opendir(directory.c_str());
    if (stream == nullptr) {
        return false;
    }
    std::string path = directory + "/";
    const std::size_t prefix = path.size();
    while (const dirent* entry = readdir(stream)) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) {
            continue;
        }
        path.resize(prefix);
        path += entry->d_name;
        struct stat file {
        };
        if (lstat(path.c_str(), &file) == 0 && S_ISREG(file.st_mode)) {
            result.push_back(path);
        }
    }
    closedir(stream);
    return true;
}

bool copyByCharacter(const std::string& source, const std::string& destination)
{
    std::ifstream in(source, std::ios_base::in | std::ios_base::binary);
    std::ofstream out(destination, std::ios_base::out | std::ios_base::binary);
    if (!in.good() || !out.good()) {
        return false;
    }
    char character = 0;
    while (in.get(character)) {
        out.put(character);
    }
    return true;
}

LineFile::LineFile(const char* path, const char* mode) : m_file(std::fopen(path, mode)) {}

LineFile::~LineFile()
{
    std::fclose(m_file);
}

int LineFile::store(const char* data, int length)
{
    const auto size = static_cast<std::size_t>(length);
    const bool written =
        std::fwrite(data, 1, size, m_file) == size && std::putc('\n', m_file) != EOF;
    return written ? length : 0;
}

int LineFile::retrieve(char* buffer, int size)
{
    if (std::fgets(buffer, size, m_file) == nullptr) {
        return 0;
    }
    std::size_t length = std::strlen(buffer);
    if (length > 0 && buffer[length - 1] == '\n') {
        buffer[--length] = '\0';
    }
    return static_cast<int>(length);
}

} // namespace hand
