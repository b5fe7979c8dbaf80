// Children, sockets, libraries, reports, and what administers the device.
#include <gpal/gpal.h>

#include <arpa/inet.h>
#include <filesystem>
#include <fstream>
#include <sys/sem.h>
#include <unistd.h>

#include "faults/scenario.h"
#include "faults/stand_ins.h"
#include "support/ipc_calls.h"

namespace faults
{
namespace
{

bool startAndWait(const Place& /*place*/)
{
    const char* succeeding[] = {"/bin/true", nullptr};
    const char* lasting[] = {"/bin/sleep", "0.2", nullptr};
    Process first;
    const bool ended = first.start(1, const_cast<char**>(succeeding), environ, nullptr) == 1 &&
                       first.waitForExit() == 0 && !first.isRunning();
    Process second;
    second.start(2, const_cast<char**>(lasting), environ, nullptr);
    const bool killed = second.isRunning() && second.destroy() == -1;
    return second.waitForExit() == -1 && ended && killed;
}

bool pipes(const Place& /*place*/)
{
    const GPALAnonymousPipe pipe;
    char letter = 'p';
    return ::write(pipe.writeFd, &letter, 1) == 1 && ::read(pipe.readFd, &letter, 1) == 1;
}

bool openAndSend(const Place& /*place*/)
{
    UDPSocket receiver;
    UDPSocket sender;
    char data[] = "datagram";
    char buffer[64] = "";
    unsigned int ip = 0;
    unsigned short port = 0;
    // Some port of those that the machine leaves to programs.
    const unsigned int own = 20000 + static_cast<unsigned int>(getpid()) % 10000;
    if (receiver.open(own, ADDRESS_FAMILY_IPV4, "owner", "127.0.0.1") < 0 ||
        sender.open(0, ADDRESS_FAMILY_IPV4, "", "") < 0) {
        return false;
    }
    sender.setPriority(46);
    return sender.write(data, 8, "127.0.0.1", own) == 8 &&
           receiver.read(buffer, sizeof buffer, ip, port) == 8 && port != 0 &&
           receiver.close() == 0;
}

bool loadALibrary(const Place& /*place*/)
{
    Dll library("libm.so.6");
    const bool loaded = library.symbol("cos") != nullptr && library.error() == nullptr;
    Dll missing("libmissing.so.0");
    return loaded && missing.error() != nullptr;
}

void removeTheLoadLock(const Place& /*place*/)
{
    const int id = semaphoreOfThisProcess(0, 1, 0);
    if (id != -1) {
        support::calls::semctl.original(id, 0, IPC_RMID, {});
    }
}

bool memoryReport(const Place& place)
{
    MemoryInformation memory;
    std::string text;
    return memory.getTotalMemory() > 0 && memory.getFreeMemory() > 0 &&
           memory.getGenericMemoryInfo(text) && !text.empty() &&
           memory.getAllMemoryInfo(place.file("report"));
}

int savedOutput = -1;

void saveOutput(const Place& /*place*/)
{
    savedOutput = dup(STDOUT_FILENO);
}

/// The report sends what the process prints into its file, for good.
void restoreOutput(const Place& place)
{
    dup2(savedOutput, STDOUT_FILENO);
    dup2(savedOutput, STDERR_FILENO);
    close(savedOutput);
    std::filesystem::remove(place.file("report"));
}

bool passwords(const Place& /*place*/)
{
    OSPasswdMgr manager;
    return manager.setPasswd("user", "a password that is too long for a string's room") == 0 &&
           manager.deletePasswd("user") == 0;
}

void makeTable(const Place& place)
{
    std::ofstream(place.file("inittab")) << "::sysinit:/etc/rc\n#ttyS0::respawn:/bin/sh\n";
}

bool serialConsole(const Place& place)
{
    SerialPortConfiguration::setSerialPortMode(SerialPortConfiguration::INTERACTIVE_NO_LOGIN);
    const NotCancelled whileReading;
    std::ifstream table(place.file("inittab"));
    std::string line;
    return std::getline(table, line) && std::getline(table, line) &&
           line == "ttyS0::respawn:/bin/sh";
}

/// A new table may be left, and stays until it is overwritten.
void removeTables(const Place& place)
{
    std::filesystem::remove(place.file("inittab"));
    std::filesystem::remove(place.file("inittab.new"));
}

} // namespace

const std::vector<Scenario> DEVICE_SCENARIOS{
    {"start and wait", startAndWait},
    {"pipe", pipes},
    {"open and send", openAndSend},
    {"load a library", loadALibrary, [](const Place&) {}, removeTheLoadLock},
    {"memory report", memoryReport, saveOutput, restoreOutput},
    {"passwords", passwords},
    {"serial console", serialConsole, makeTable, removeTables},
};

} // namespace faults
