#include <gpal/SerialPortConfiguration.h>

#include <cstdio>
#include <fstream>
#include <pthread.h>

#include "base/closing.h"
#include "base/console.h"
#include "cancelled.h"

using gpal::detail::cancellably;
using gpal::detail::ClosingBuffer;
using gpal::detail::DestroyedIfCancelled;
using gpal::detail::printReason;
using gpal::detail::runCommand;

namespace
{

const char* const LOGIN = "interactive_login";
const char* const NO_LOGIN = "interactive_no_login";
const char* const NO_CONSOLE = "non_interactive";

const char* const TABLE = "/etc/inittab";
const char* const NEW_TABLE = "/etc/inittab.new";
const char* const GETTY_LINE = "ttyS0::respawn:/sbin/getty 115200 ttyS0";
const char* const SHELL_LINE = "ttyS0::respawn:/bin/sh";

/// Rewrites a line that mentions a console entry, commented out or not, as the entry, active or
/// commented out.
void switchEntry(std::string& line, const char* entry, bool active)
{
    if (line.find(entry) != std::string::npos) {
        line = active ? "" : "#";
        line += entry;
    }
}

/// Copies the table with the console entries of the mode. The read that hits the end of the file
/// still writes its empty line; the device's init skips those. The table is always there on the
/// device: without it there would be no end. Returns false when it could not be read whole.
bool writeNewTable(SerialPortConfiguration::SerialPortMode mode)
{
    std::ofstream newTable(NEW_TABLE);
    const ClosingBuffer closingNew(newTable.rdbuf());
    const DestroyedIfCancelled newWhenCancelled(closingNew);
    std::ifstream table(TABLE);
    const ClosingBuffer closing(table.rdbuf());
    const DestroyedIfCancelled whenCancelled(closing);
    while (!table.eof()) {
        pthread_testcancel(); // nothing else might be one any more
        std::string line;
        std::getline(table, line);
        if (table.bad()) {
            return false;
        }
        switchEntry(line, GETTY_LINE, mode == SerialPortConfiguration::INTERACTIVE_LOGIN);
        switchEntry(line, SHELL_LINE, mode == SerialPortConfiguration::INTERACTIVE_NO_LOGIN);
        line += "\n";
        cancellably([&] {
            newTable.write(line.data(), static_cast<std::streamsize>(line.size())).flush();
        });
    }
    return true;
}

} // namespace

bool SerialPortConfiguration::isValidSerialPortMode(const std::string& text)
{
    return text == LOGIN || text == NO_LOGIN || text == NO_CONSOLE;
}

SerialPortConfiguration::SerialPortMode
SerialPortConfiguration::stringToSerialPortMode(const std::string& text)
{
    if (text == LOGIN) {
        return INTERACTIVE_LOGIN;
    }
    return text == NO_CONSOLE ? NON_INTERACTIVE : INTERACTIVE_NO_LOGIN;
}

std::string SerialPortConfiguration::serialPortModeToString(SerialPortMode mode)
{
    if (mode == INTERACTIVE_LOGIN) {
        return LOGIN;
    }
    return mode == NON_INTERACTIVE ? NO_CONSOLE : NO_LOGIN;
}

void SerialPortConfiguration::setSerialPortMode(SerialPortMode mode)
{
    if (!writeNewTable(mode)) {
        printReason("Error reading file: ");
        std::remove(NEW_TABLE); // what is torn replaces nothing
    } else if (std::rename(NEW_TABLE, TABLE) != 0) {
        printReason("Error renaming file: ");
    }
    runCommand("kill -s SIGHUP 1"); // init rereads its table
    runCommand(R"(ps | grep "\-sh *$" | sed -n "s/  *\([0-9][0-9]*\).*/\1/p" | xargs kill -9)");
    runCommand(R"(ps | grep "/bin/sh *$" | sed -n "s/  *\([0-9][0-9]*\).*/\1/p" | xargs kill -9)");
    if (mode != INTERACTIVE_LOGIN) {
        runCommand("killall -9 getty");
        runCommand("killall -9 login");
    }
}
