/// \file
/// Listing a directory, copying a file, and files of records, whoever does it.
#ifndef GPAL_BENCHMARKS_STORAGE_JOBS_H
#define GPAL_BENCHMARKS_STORAGE_JOBS_H

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <list>
#include <string>

namespace jobs
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

/// \p list fills a list with the paths of a directory's regular files.
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

/// Copies a file over an older copy. The argument is its size in KiB.
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

inline void sizesInKiB(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(1)->Arg(64)->Arg(16384);
}

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

/// Writes all records to a new file with \p store, which gets its path and a record, and begins
/// and ends with the file closed.
template <typename Store>
void storing(benchmark::State& state, Store store)
{
    const ScratchFolder folder;
    const std::string path = folder.path("records");
    std::string record(RECORD_LENGTH, 'x');
    for (auto _ : state) {
        store(path, record);
    }
}

/// Reads them from a file with \p retrieve, which gets its path.
template <typename Retrieve>
void retrieving(benchmark::State& state, Retrieve retrieve)
{
    const ScratchFolder folder;
    const std::string path = folder.path("records");
    {
        std::ofstream file(path, std::ios_base::binary);
        for (int i = 0; i < RECORDS; ++i) {
            file << std::string(RECORD_LENGTH, 'x') << '\n';
        }
    }
    for (auto _ : state) {
        retrieve(path);
    }
}

} // namespace jobs

#endif
