#include <gpal/OSPasswdMgr.h>

#include <cxxabi.h>
#include <syslog.h>
#include <unistd.h>

#include <gpal/Process.h>

#include "base/cancellation.h"
#include "cancelled.h"

OSPasswdMgrIfc::~OSPasswdMgrIfc() = default;

OSPasswdMgr::OSPasswdMgr() : m_processFactory(new ProcessFactory) {}

OSPasswdMgr::~OSPasswdMgr()
{
    delete m_processFactory;
}

int OSPasswdMgr::setPasswd(const std::string& user, std::string password)
{
    const char* argv[] = {"/Mirta_Deploy/setPasswd.sh", user.c_str(), password.c_str(), nullptr};
    return runScript(3, argv);
}

int OSPasswdMgr::deletePasswd(const std::string& user)
{
    const char* argv[] = {"/Mirta_Deploy/deletePasswd.sh", user.c_str(), nullptr};
    return runScript(2, argv);
}

namespace
{

/// Gives a process back to the factory that made it, whichever way a scope is left.
class FactoryProcess
{
public:
    explicit FactoryProcess(ProcessFactoryIfc& factory)
        : m_factory(factory), m_process(factory.getProcess())
    {
    }
    FactoryProcess(const FactoryProcess&) = delete;
    FactoryProcess& operator=(const FactoryProcess&) = delete;
    ~FactoryProcess()
    {
        const gpal::detail::CancellationHeldOff untilReaped;
        m_factory.destroy(m_process);
    }

    ProcessIfc* operator->() const { return m_process; }

private:
    ProcessFactoryIfc& m_factory;
    ProcessIfc* m_process;
};

} // namespace

// Cancellation comes as an exception without an object, which the sanitizer would take the first
// handler's reference to miss.
__attribute__((no_sanitize("null"))) int OSPasswdMgr::runScript(unsigned int argc,
                                                                const char** argv)
{
    const char* const script = argv == nullptr || argv[0] == nullptr ? "(null)" : argv[0];
    const FactoryProcess process(*m_processFactory);
    const gpal::detail::DestroyedIfCancelled whenCancelled(process);
    try {
        process->start(static_cast<int>(argc), const_cast<char**>(argv), environ, nullptr);
        process->waitForExit();
    } catch (const abi::__forced_unwind&) {
        throw; // a cancelled caller goes its way
    } catch (const GPALProcessException& failure) {
        syslog(LOG_NOTICE, "runScript:%s:%s", script, failure.what());
    } catch (...) {
        syslog(LOG_NOTICE, "runScript:%s already finished", script);
    }
    return 0;
}
