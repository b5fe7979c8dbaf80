/// \file
/// All test doubles but those that put functions in the place of the C library's:
/// `SystemLogRecorder.h`, `ShellCommandRecorder.h` and `RebootGuard.h` are included by who wants
/// them.
#ifndef GPAL_TESTING_TESTING_H
#define GPAL_TESTING_TESTING_H

#include <gpal/testing/BodyCancelled.h>
#include <gpal/testing/DatagramExchange.h>
#include <gpal/testing/FakeProcesses.h>
#include <gpal/testing/FakeUDPSocket.h>
#include <gpal/testing/FakeWaits.h>
#include <gpal/testing/ManualThreads.h>
#include <gpal/testing/MockFiles.h>
#include <gpal/testing/MockNetwork.h>
#include <gpal/testing/MockProcesses.h>
#include <gpal/testing/MockThreads.h>
#include <gpal/testing/MockTimers.h>
#include <gpal/testing/RecordingPortManager.h>
#include <gpal/testing/RecordingProcessManager.h>
#include <gpal/testing/RecordingSleep.h>
#include <gpal/testing/VirtualTimers.h>

#endif
