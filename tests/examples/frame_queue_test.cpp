#include <gtest/gtest.h>
#include <thread>

#include "frame_queue.h"

using voicecall::Frame;
using voicecall::FrameQueue;

namespace
{

Frame frameAt(int index)
{
    Frame frame;
    frame.index = index;
    return frame;
}

} // namespace

TEST(FrameQueue, givesFramesInTheOrderInWhichTheyCame)
{
    FrameQueue queue;
    queue.put(frameAt(5));
    queue.put(frameAt(3));
    Frame frame;
    ASSERT_TRUE(queue.take(frame));
    EXPECT_EQ(frame.index, 5);
    ASSERT_TRUE(queue.take(frame));
    EXPECT_EQ(frame.index, 3);
}

TEST(FrameQueue, givesTheRestAfterItWasClosedAndThenTheEndForEver)
{
    FrameQueue queue;
    queue.put(frameAt(1));
    queue.close();
    Frame frame;
    EXPECT_TRUE(queue.take(frame));
    EXPECT_FALSE(queue.take(frame));
    EXPECT_FALSE(queue.take(frame));
}

TEST(FrameQueue, wakesWhoWaitsForAFrameOrForTheEnd)
{
    FrameQueue queue;
    int taken = 0;
    std::thread consumer([&] {
        for (Frame frame; queue.take(frame);) {
            taken += frame.index;
        }
    });
    for (int i = 1; i <= 100; ++i) {
        queue.put(frameAt(i));
    }
    queue.close();
    consumer.join();
    EXPECT_EQ(taken, 5050);
}
