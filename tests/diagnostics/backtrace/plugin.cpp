// A plugin in two builds, which differ in nothing but the size of a frame, ROOM.

extern "C" __attribute__((noinline)) int pluginCall(int (*work)(void*), void* argument)
{
    volatile char room[ROOM];
    room[0] = 1;
    const int result = work(argument);
    room[ROOM - 1] = room[0];
    return result;
}
