/// \file
/// Archives of full records.
#ifndef SUPERVISOR_ARCHIVE_H
#define SUPERVISOR_ARCHIVE_H

#include <string>

#include "record_file.h"

namespace supervisor
{

/// Throws `std::runtime_error` when archives can't be made beside the record: its directory is
/// passed to the shell.
void checkThatArchivesArePossible(const RecordFile& record);

/// Moves all records into a new archive beside the record file and returns the archive's path. The
/// record is emptied only after the archive has been unpacked again and compared with it. Throws
/// `std::runtime_error` with a text for the user; the records are then still where they were. After
/// a loss of power between the two steps they are in both places, never in none.
std::string moveIntoArchive(RecordFile& record);

} // namespace supervisor

#endif
