/// \file
/// User passwords, through the deployment's scripts.
#ifndef GPAL_OSPASSWDMGR_H
#define GPAL_OSPASSWDMGR_H

#include <string>

#include <gpal/export.h>

class ProcessFactoryIfc;

/// What a client needs to change passwords; tests substitute it.
class GPAL_API OSPasswdMgrIfc
{
public:
    virtual ~OSPasswdMgrIfc();

    /// Sets the password of \p user. The result carries no information: whether the script
    /// succeeded is not reported.
    virtual int setPasswd(const std::string& user, std::string password) = 0;

    /// Deletes the password of \p user. The result carries no information.
    virtual int deletePasswd(const std::string& user) = 0;
};

/// Runs "/Mirta_Deploy/setPasswd.sh" and "/Mirta_Deploy/deletePasswd.sh" as child processes with
/// the caller's environment; user and password are command-line arguments. Failures to start or to
/// wait are logged at notice severity; nothing is thrown, unless memory runs out. Each call blocks
/// until its script has ended, which is a cancellation point; the script of a cancelled caller is
/// ended as by `~Process`. One thread at a time uses an object.
class GPAL_API OSPasswdMgr : public OSPasswdMgrIfc
{
public:
    OSPasswdMgr();
    OSPasswdMgr(const OSPasswdMgr&) = delete;
    OSPasswdMgr& operator=(const OSPasswdMgr&) = delete;
    ~OSPasswdMgr() override;

    int setPasswd(const std::string& user, std::string password) override;
    int deletePasswd(const std::string& user) override;

    /// Runs the script `argv[0]` with the null-terminated vector \p argv of \p argc arguments and
    /// waits for it; its exit code is not looked at. A null \p argv or `argv[0]` is a missing
    /// script, logged as "(null)". Always returns 0.
    int runScript(unsigned int argc, const char** argv);

private:
    ProcessFactoryIfc* m_processFactory;
};

#endif
