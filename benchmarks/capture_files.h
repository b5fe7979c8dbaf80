/// \file
/// What the benchmarks of capture files share.
#ifndef GPAL_BENCHMARKS_CAPTURE_FILES_H
#define GPAL_BENCHMARKS_CAPTURE_FILES_H

#include <string>

namespace captures
{

constexpr int PAYLOAD = 160; // 20 ms of speech
constexpr int RECORD = 16 + 14 + 20 + 8 + PAYLOAD;
constexpr int RECORDS = 2000; ///< in one file; its making and closing are measured with them

/// A file's name that goes with the program.
class FileName
{
public:
    FileName();
    FileName(const FileName&) = delete;
    FileName& operator=(const FileName&) = delete;
    ~FileName();

    char* text() { return m_name.data(); }

private:
    std::string m_name;
};

/// Fills a file with records of the layer.
void fill(FileName& file);

} // namespace captures

#endif
