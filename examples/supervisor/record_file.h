/// \file
/// The record that the supervisor keeps.
#ifndef SUPERVISOR_RECORD_FILE_H
#define SUPERVISOR_RECORD_FILE_H

#include <string>

namespace supervisor
{

/// A file of one-line records, in the layer's record storage. All failures are thrown as
/// `std::runtime_error` with a text for the user.
class RecordFile
{
public:
    /// Opens "supervisor.records" in the volatile location, with the records of earlier runs in it.
    /// No other process may have it open.
    RecordFile();
    RecordFile(const RecordFile&) = delete;
    RecordFile& operator=(const RecordFile&) = delete;
    ~RecordFile();

    /// Appends a record. When this returns it is in the file; when it throws, the file is as it
    /// was. What would not fit on a line is replaced or cut off.
    void append(const std::string& text);

    /// Removes all records.
    void empty();

    const std::string& path() const { return m_path; }
    const std::string& directory() const { return m_directory; } ///< ends in '/'
    int count() const { return m_count; }

private:
    void completeLastRecord();
    void write(std::string line);

    std::string m_directory;
    std::string m_path;
    int m_lock = -1;
    int m_count = 0;
};

} // namespace supervisor

#endif
