#include "QuendalFoundation/Runtime/SerialQueue.h"

namespace quendal {

SerialQueue::SerialQueue(std::string label, Executor target)
    : label_(std::move(label)), strand_(asio::make_strand(std::move(target)))
{
}

void SerialQueue::async(UniqueFunction<void()> work)
{
    asio::post(strand_, [w = std::move(work)]() mutable { w(); });
}

} // namespace quendal
