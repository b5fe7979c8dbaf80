// Record files, and files of raw bytes: nothing in them but what was stored.
#include <gpal/BinaryStorage.h>
#include <gpal/Storage.h>

#include <vector>

#include "exchange.h"

namespace exchange
{

namespace
{

constexpr auto READ = std::ios_base::in | std::ios_base::binary;
constexpr auto WRITE = std::ios_base::out | std::ios_base::app | std::ios_base::binary;

/// All bytes of a record, which has no line feed, and is read up to its first NUL.
const std::vector<std::string>& records()
{
    static const std::vector<std::string> all{"first record",         "",
                                              bytes(256).substr(11),  bytes(10).substr(1),
                                              std::string(1023, 'x'), "last record"};
    return all;
}

void checkRecord(Storage& storage, const std::string& record, const std::string& name)
{
    char buffer[1024] = {};
    const int length = storage.retrieve("key", buffer);
    expect(length == static_cast<int>(record.size()), name + " has its length");
    expect(buffer == record, name + " is what was stored");
}

} // namespace

void writeRecords(const std::string& folder)
{
    const std::string file = folder + "/records";
    Storage storage;
    storage.init(file.c_str(), READ, WRITE);
    for (std::string record : records()) {
        const int length = static_cast<int>(record.size());
        expect(storage.store("key", record.data(), length) == length, "a record is stored");
    }
    storage.shutdown();

    const std::string unframed = folder + "/unframed";
    std::string raw = bytes(5000);
    Storage whole;
    whole.init(unframed.c_str(), READ, WRITE);
    expect(whole.writeBinary(raw.data(), 5000) == 5000, "bytes are written");
    whole.shutdown();

    std::string appended = folder + "/appended";
    BinaryStorage binary;
    for (const unsigned int length : {1000U, 4000U}) {
        expect(binary.store(appended.data(), raw.data(), length) == static_cast<int>(length),
               "bytes are appended");
    }
}

void checkRecords(const std::string& folder)
{
    const std::string file = folder + "/records";
    Storage storage;
    storage.init(file.c_str(), READ, WRITE);
    for (std::size_t i = 0; i < records().size(); ++i) {
        checkRecord(storage, records()[i], "record " + std::to_string(i));
    }
    checkRecord(storage, "", "the end");
    storage.shutdown();

    const std::string unframed = folder + "/unframed";
    std::string raw(5000, '#');
    Storage whole;
    whole.init(unframed.c_str(), READ, WRITE);
    expect(whole.readBinary(raw.data(), 5000) == 5000, "bytes are read");
    expect(raw == bytes(5000), "bytes are those that were written");
    whole.shutdown();

    std::string appended = folder + "/appended";
    BinaryStorage binary;
    raw.assign(6000, '#');
    expect(binary.retrieve(appended.data(), raw.data(), 6000) == 5000,
           "all appended bytes are read");
    expect(raw.substr(0, 5000) == bytes(1000) + bytes(4000), "they are those that were appended");
}

} // namespace exchange
