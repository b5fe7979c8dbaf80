/// \file
/// GoogleMock class of the port manager.
#ifndef GPAL_TESTING_MOCKNETWORK_H
#define GPAL_TESTING_MOCKNETWORK_H

#include <string>

#include <gmock/gmock.h>

#include <gpal/UDPSocket.h>

namespace gpal::testing
{

/// Takes effect once it is installed with `UDPSocket::setPortMgr`. Ports come as they stand in the
/// socket address.
class MockPortMgmt : public PortMgmtIfc
{
public:
    MOCK_METHOD(int, portOpened, (const std::string& owner, unsigned int port), (override));
};

} // namespace gpal::testing

#endif
