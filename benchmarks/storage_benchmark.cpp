/// \file
/// Listing a directory, copying files, and record files. "layer" is the layer, "hand" the same work
/// in a module of this program (hand_storage.h); "manager" is the file manager's copy, by blocks.
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <list>
#include <string>

#include <gpal/FileManager.h>
#include <gpal/Storage.h>

#include "hand_storage.h"
#include "support.h"

namespace
{

/// A folder of the benchmark's own.
class ScratchFolder
{
public:
    ScratchFolder() : m_path(std::filesystem::temp_directory_path() / "gpal-benchmark-XXXXXX")
    {
        if (mkdtemp(m_path.data()) == nullptr) {
            std::abort(); // without it all figures would be of failures
        }
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    ~ScratchFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    const std::string& path() const { return m_path; }
    std::string path(const std::string& name) const { return m_path + "/" + name; }
    std::string file(const std::string& name, std::size_t size) const
    {
        std::ofstream(path(name), std::ios_base::binary) << std::string(size, 'x');
        return path(name);
    }

private:
    std::string m_path;
};

template <typename List>
void listing(benchmark::State& state, List list)
{
    constexpr std::size_t ENTRIES = 1000;
    const ScratchFolder folder;
    for (std::size_t i = 0; i < ENTRIES; ++i) {
        folder.file("entry" + std::to_string(i) + ".dat", 0);
    }
    std::list<std::string> result;
    for (auto _ : state) {
        list(folder.path(), result);
        if (result.size() != ENTRIES) {
            state.SkipWithError("entries are missing");
        }
    }
}

void listingOfLayer(benchmark::State& state)
{
    listing(state, [](const std::string& directory, std::list<std::string>& result) {
        Storage::getListOfElementsByDirectory_noEx(directory, &result, Storage::eDirReadFiles,
                                                   true);
    });
}
BENCHMARK(listingOfLayer)->Name("listing/layer");

void listingByHand(benchmark::State& state)
{
    listing(state, hand::listFiles);
}
BENCHMARK(listingByHand)->Name("listing/hand");

/// The argument is the size of the file in KiB.
template <typename Copy>
void copying(benchmark::State& state, Copy copy)
{
    const ScratchFolder folder;
    const auto size = static_cast<std::size_t>(state.range(0)) * 1024;
    const std::string source = folder.file("source", size);
    const std::string destination = folder.path("destination");
    for (auto _ : state) {
        copy(source, destination);
    }
    if (std::filesystem::file_size(destination) != size) {
        state.SkipWithError("the copy is not complete");
    }
}

void sizesInKiB(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(1)->Arg(64)->Arg(16384);
}

void copyOfLayer(benchmark::State& state)
{
    copying(state, Storage::copyFile_noEx);
}
BENCHMARK(copyOfLayer)->Name("copy/layer")->Apply(sizesInKiB);

void copyByHand(benchmark::State& state)
{
    copying(state, hand::copyByCharacter);
}
BENCHMARK(copyByHand)->Name("copy/hand")->Apply(sizesInKiB);

void copyOfFileManager(benchmark::State& state)
{
    const auto manager = support::opaque<FileManager>();
    copying(state, [&manager](const std::string& source, const std::string& destination) {
        return manager->copyFile(source, destination);
    });
}
BENCHMARK(copyOfFileManager)->Name("copy/manager")->Apply(sizesInKiB);

constexpr int RECORDS = 100000;
constexpr int RECORD_LENGTH = 64;
constexpr int LINE_SIZE = 1024; // what the layer's callers provide

/// One pass over a record file; \p step stores or retrieves one record and returns its length.
template <typename Step>
void passOver(benchmark::State& state, Step step)
{
    for (int i = 0; i < RECORDS; ++i) {
        if (step() != RECORD_LENGTH) {
            state.SkipWithError("a record is missing");
            return;
        }
    }
}

void writeRecords(const std::string& path)
{
    hand::LineFile file(path.c_str(), "wb");
    const std::string record(RECORD_LENGTH, 'x');
    for (int i = 0; i < RECORDS; ++i) {
        file.store(record.data(), RECORD_LENGTH);
    }
}

void storeByLayer(benchmark::State& state)
{
    const ScratchFolder folder;
    const std::string path = folder.path("records");
    std::string record(RECORD_LENGTH, 'x');
    for (auto _ : state) {
        const auto storage = support::opaque<Storage>();
        storage->init(path.c_str(), std::ios_base::in | std::ios_base::binary,
                      std::ios_base::out | std::ios_base::trunc | std::ios_base::binary);
        passOver(state, [&] { return storage->store("", record.data(), RECORD_LENGTH); });
    }
}
BENCHMARK(storeByLayer)->Name("store/layer");

void storeByHand(benchmark::State& state)
{
    const ScratchFolder folder;
    const std::string path = folder.path("records");
    const std::string record(RECORD_LENGTH, 'x');
    for (auto _ : state) {
        hand::LineFile file(path.c_str(), "wb");
        passOver(state, [&] { return file.store(record.data(), RECORD_LENGTH); });
    }
}
BENCHMARK(storeByHand)->Name("store/hand");

void retrieveByLayer(benchmark::State& state)
{
    const ScratchFolder folder;
    const std::string path = folder.path("records");
    writeRecords(path);
    char line[LINE_SIZE];
    for (auto _ : state) {
        const auto storage = support::opaque<Storage>();
        storage->init(path.c_str(), std::ios_base::in | std::ios_base::binary,
                      std::ios_base::out | std::ios_base::binary);
        passOver(state, [&] { return storage->retrieve("", line); });
    }
}
BENCHMARK(retrieveByLayer)->Name("retrieve/layer");

void retrieveByHand(benchmark::State& state)
{
    const ScratchFolder folder;
    const std::string path = folder.path("records");
    writeRecords(path);
    char line[LINE_SIZE];
    for (auto _ : state) {
        hand::LineFile file(path.c_str(), "rb");
        passOver(state, [&] { return file.retrieve(line, LINE_SIZE); });
    }
}
BENCHMARK(retrieveByHand)->Name("retrieve/hand");

} // namespace
