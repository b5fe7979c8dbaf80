/// \file
/// GoogleMock class of the file manager.
#ifndef GPAL_TESTING_MOCKFILES_H
#define GPAL_TESTING_MOCKFILES_H

#include <string>

#include <gmock/gmock.h>

#include <gpal/FileManager.h>

namespace gpal::testing
{

class MockFileManager : public FileManagerIfc
{
public:
    MOCK_METHOD(bool, createFile, (std::string const& path, std::string const& content),
                (override));
    MOCK_METHOD(bool, copyFile, (std::string const& source, std::string const& destination),
                (override));
    MOCK_METHOD(bool, moveFile, (std::string const& source, std::string const& destination),
                (override));
    MOCK_METHOD(int, deleteFile, (std::string const& path), (override));
    MOCK_METHOD(bool, doesExist, (std::string const& path), (override));
    MOCK_METHOD(int, size, (std::string const& path), (override));
    MOCK_METHOD(bool, isPrefix, (std::string const& first, std::string const& second), (override));
};

} // namespace gpal::testing

#endif
