#include <benchmark/benchmark.h>
#include <thread>

int main(int argc, char** argv)
{
    // The C library spares processes that never had a second thread the atomic instructions. Those
    // that use the layer have several.
    std::thread([] {}).join();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
