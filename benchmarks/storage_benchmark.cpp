/// \file
/// Listing a directory, copying files, and record files. "layer" is the layer, "hand" the same work
/// in a module of this program (hand_storage.h); "manager" is the file manager's copy, by blocks.
#include <benchmark/benchmark.h>
#include <list>
#include <string>

#include <gpal/FileManager.h>
#include <gpal/Storage.h>

#include "hand_storage.h"
#include "storage_jobs.h"
#include "support.h"

namespace
{

void listingOfLayer(benchmark::State& state)
{
    jobs::listing(state, [](const std::string& directory, std::list<std::string>& result) {
        Storage::getListOfElementsByDirectory_noEx(directory, &result, Storage::eDirReadFiles,
                                                   true);
    });
}
BENCHMARK(listingOfLayer)->Name("listing/layer");

void listingByHand(benchmark::State& state)
{
    jobs::listing(state, hand::listFiles);
}
BENCHMARK(listingByHand)->Name("listing/hand");

void copyOfLayer(benchmark::State& state)
{
    jobs::copying(state, Storage::copyFile_noEx);
}
BENCHMARK(copyOfLayer)->Name("copy/layer")->Apply(jobs::sizesInKiB);

void copyByHand(benchmark::State& state)
{
    jobs::copying(state, hand::copyByCharacter);
}
BENCHMARK(copyByHand)->Name("copy/hand")->Apply(jobs::sizesInKiB);

void copyOfFileManager(benchmark::State& state)
{
    const auto manager = support::opaque<FileManager>();
    jobs::copying(state, [&manager](const std::string& source, const std::string& destination) {
        return manager->copyFile(source, destination);
    });
}
BENCHMARK(copyOfFileManager)->Name("copy/manager")->Apply(jobs::sizesInKiB);

void storeByLayer(benchmark::State& state)
{
    jobs::storing(state, [&](const std::string& path, std::string& record) {
        const auto storage = support::opaque<Storage>();
        storage->init(path.c_str(), std::ios_base::in | std::ios_base::binary,
                      std::ios_base::out | std::ios_base::trunc | std::ios_base::binary);
        jobs::passOver(state,
                       [&] { return storage->store("", record.data(), jobs::RECORD_LENGTH); });
    });
}
BENCHMARK(storeByLayer)->Name("store/layer");

void storeByHand(benchmark::State& state)
{
    jobs::storing(state, [&](const std::string& path, const std::string& record) {
        hand::LineFile file(path.c_str(), "wb");
        jobs::passOver(state, [&] { return file.store(record.data(), jobs::RECORD_LENGTH); });
    });
}
BENCHMARK(storeByHand)->Name("store/hand");

void retrieveByLayer(benchmark::State& state)
{
    char line[jobs::LINE_SIZE];
    jobs::retrieving(state, [&](const std::string& path) {
        const auto storage = support::opaque<Storage>();
        storage->init(path.c_str(), std::ios_base::in | std::ios_base::binary,
                      std::ios_base::out | std::ios_base::binary);
        jobs::passOver(state, [&] { return storage->retrieve("", line); });
    });
}
BENCHMARK(retrieveByLayer)->Name("retrieve/layer");

void retrieveByHand(benchmark::State& state)
{
    char line[jobs::LINE_SIZE];
    jobs::retrieving(state, [&](const std::string& path) {
        hand::LineFile file(path.c_str(), "rb");
        jobs::passOver(state, [&] { return file.retrieve(line, jobs::LINE_SIZE); });
    });
}
BENCHMARK(retrieveByHand)->Name("retrieve/hand");

} // namespace
