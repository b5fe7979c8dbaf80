// A library whose static object goes late in the process's exit, and takes its time.
#include <cstdlib>
#include <unistd.h>

namespace
{

struct SlowToGo {
    ~SlowToGo() { usleep(300000); }
};

const SlowToGo slowToGo;

} // namespace
