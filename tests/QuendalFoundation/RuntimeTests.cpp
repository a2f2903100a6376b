#include "QuendalFoundation/Runtime/AsyncStream.h"
#include "QuendalFoundation/Runtime/Cancellation.h"
#include "QuendalFoundation/Runtime/ConsumeWhileAlive.h"
#include "QuendalFoundation/Runtime/PostBack.h"
#include "QuendalFoundation/Runtime/Race.h"
#include "QuendalFoundation/Runtime/RepeatingTimer.h"
#include "QuendalFoundation/Runtime/SerialQueue.h"
#include "QuendalFoundation/Runtime/Task.h"
#include "VirtualTime.h"

#include <asio/bind_executor.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

using namespace quendal;
using tarnel::testing::VirtualTime;
using namespace std::chrono_literals;

namespace {

asio::awaitable<void> sleepThenMark(Clock& clock, Clock::Duration duration, bool& finished, bool& cancelled)
{
    try {
        co_await clock.sleep(duration);
        finished = true;
    } catch (...) {
        cancelled = isCancellation(std::current_exception());
        throw;
    }
}

} // namespace

TEST(Runtime, CancelledSleepEndsAtOnceWithACancellationError)
{
    VirtualTime time;
    bool finished = false, cancelled = false;
    auto task = spawn(time.executor(), sleepThenMark(time.clock(), 20s, finished, cancelled));
    time.poll();
    ASSERT_EQ(time.clock().pendingSleeps(), 1u);
    EXPECT_TRUE(task.isRunning());

    task.cancel();
    time.poll(); // no virtual time passes
    EXPECT_TRUE(cancelled);
    EXPECT_FALSE(finished);
    EXPECT_TRUE(task.isFinished());
    EXPECT_EQ(task.error(), nullptr) << "a cancellation is not an error of the task";
    EXPECT_EQ(time.clock().pendingSleeps(), 0u);
    EXPECT_EQ(time.elapsedSeconds(), 0.0);

    // The real clock too: an hour-long timer is interrupted, so run() returns.
    asio::io_context context;
    SystemClock system;
    bool systemCancelled = false, systemFinished = false;
    auto longSleep = spawn(context.get_executor(), sleepThenMark(system, 3600s, systemFinished, systemCancelled));
    context.poll();
    longSleep.cancel();
    context.run();
    EXPECT_TRUE(systemCancelled);
    EXPECT_FALSE(systemFinished);
}

TEST(Runtime, DroppingATaskHandleCancelsIt)
{
    VirtualTime time;
    bool finished = false, cancelled = false;
    {
        auto task = spawn(time.executor(), sleepThenMark(time.clock(), 5s, finished, cancelled));
        time.poll();
    }
    time.run();
    EXPECT_TRUE(cancelled);
    EXPECT_FALSE(finished);

    bool detachedFinished = false, detachedCancelled = false;
    spawn(time.executor(), sleepThenMark(time.clock(), 5s, detachedFinished, detachedCancelled)).detach();
    time.run();
    EXPECT_TRUE(detachedFinished);
    EXPECT_EQ(time.elapsedSeconds(), 5.0);
}

TEST(Runtime, TaskKeepsTheErrorItEndedWith)
{
    VirtualTime time;
    auto failing = []() -> asio::awaitable<void> {
        co_await Runtime::shared().clock().sleep(1s);
        throw std::runtime_error("broken");
    };
    auto task = spawn(time.executor(), failing());
    time.run();
    ASSERT_TRUE(task.isFinished());
    ASSERT_NE(task.error(), nullptr);
    EXPECT_THROW(std::rethrow_exception(task.error()), std::runtime_error);
}

TEST(Runtime, RaceReturnsTheFirstResultAndCancelsTheOthers)
{
    VirtualTime time;
    std::vector<bool> cancelled(3, false);
    auto child = [&](int index, Clock::Duration duration) -> asio::awaitable<int> {
        try {
            co_await time.clock().sleep(duration);
        } catch (...) {
            cancelled[index] = isCancellation(std::current_exception());
            throw;
        }
        co_return index + 1;
    };
    std::vector<asio::awaitable<int>> children;
    children.push_back(child(0, 3s));
    children.push_back(child(1, 1s));
    children.push_back(child(2, 2s));

    EXPECT_EQ(time.await(race(std::move(children))), 2);
    EXPECT_TRUE(cancelled[0]);
    EXPECT_FALSE(cancelled[1]);
    EXPECT_TRUE(cancelled[2]);
    EXPECT_EQ(time.elapsedSeconds(), 1.0) << "the losers must not run to their own deadlines";
    EXPECT_EQ(time.clock().pendingSleeps(), 0u);
}

TEST(Runtime, RaceErrorsAndOuterCancellation)
{
    VirtualTime time;
    // The first child to end decides, even with an error.
    auto failing = [&]() -> asio::awaitable<int> {
        co_await time.clock().sleep(500ms);
        throw std::runtime_error("stream failed");
    };
    auto slow = [&]() -> asio::awaitable<int> {
        co_await time.clock().sleep(10s);
        co_return 7;
    };
    std::vector<asio::awaitable<int>> children;
    children.push_back(slow());
    children.push_back(failing());
    EXPECT_THROW(time.await(race(std::move(children))), std::runtime_error);

    // Cancelling the race reaches every child, and the race waits for them to end.
    int childrenCancelled = 0;
    auto waiting = [&]() -> asio::awaitable<int> {
        try {
            co_await time.clock().sleep(60s);
        } catch (...) {
            ++childrenCancelled;
            throw;
        }
        co_return 0;
    };
    bool raceCancelled = false;
    auto outer = [&]() -> asio::awaitable<void> {
        std::vector<asio::awaitable<int>> kids;
        kids.push_back(waiting());
        kids.push_back(waiting());
        try {
            co_await race(std::move(kids));
        } catch (...) {
            raceCancelled = isCancellation(std::current_exception());
        }
    };
    auto task = spawn(time.executor(), outer());
    time.poll();
    task.cancel();
    time.poll();
    EXPECT_EQ(childrenCancelled, 2);
    EXPECT_TRUE(raceCancelled);
    EXPECT_TRUE(task.isFinished());
}

TEST(Runtime, StreamTerminationRunsExactlyOnce)
{
    VirtualTime time;

    // The consumer stops after two values and drops the stream.
    int terminations = 0;
    std::optional<StreamTermination> reason;
    AsyncStream<int>::Continuation producer;
    std::vector<int> received;
    {
        AsyncStream<int> stream([&](AsyncStream<int>::Continuation c) {
            producer = c;
            c.onTermination([&](StreamTermination why) {
                ++terminations;
                reason = why;
            });
        });
        for (int i = 1; i <= 5; ++i)
            EXPECT_TRUE(producer.yield(i));
        auto consume = [&]() -> asio::awaitable<void> {
            for (;;) {
                auto next = stream.next();
                auto value = co_await std::move(next);
                if (!value)
                    break;
                received.push_back(*value);
                if (received.size() == 2)
                    break;
            }
        };
        time.await(consume());
        stream.cancel();
        stream.cancel();
    }
    EXPECT_EQ(received, (std::vector<int>{1, 2}));
    EXPECT_EQ(terminations, 1);
    EXPECT_EQ(reason, StreamTermination::cancelled);
    EXPECT_FALSE(producer.yield(6)) << "a terminated stream takes no more values";
    producer.finish();
    EXPECT_EQ(terminations, 1);

    // The producer finishes: buffered values still arrive, then the end.
    auto [finished, finisher] = AsyncStream<int>::make();
    int finishTerminations = 0;
    finisher.onTermination([&](StreamTermination why) {
        ++finishTerminations;
        EXPECT_EQ(why, StreamTermination::finished);
    });
    finisher.yield(1);
    finisher.finish();
    finisher.finish();
    auto drain = [&](AsyncStream<int>& s) -> asio::awaitable<std::vector<int>> {
        std::vector<int> all;
        for (;;) {
            auto next = s.next();
            auto v = co_await std::move(next);
            if (!v)
                break;
            all.push_back(*v);
        }
        co_return all;
    };
    EXPECT_EQ(time.await(drain(finished)), (std::vector<int>{1}));
    EXPECT_EQ(finishTerminations, 1);

    // An error reaches the consumer after the values before it.
    auto [failing, failer] = AsyncStream<int>::make();
    failer.yield(4);
    failer.finish(std::make_exception_ptr(std::runtime_error("lost")));
    auto first = time.await(failing.next());
    EXPECT_EQ(first, 4);
    EXPECT_THROW(time.await(failing.next()), std::runtime_error);
}

TEST(Runtime, ConsumingWhileTheOwnerLivesStopsWithTheOwnerAndPassesFailuresOn)
{
    VirtualTime time;
    auto owner = std::make_shared<std::vector<int>>();
    auto [stream, producer] = AsyncStream<int>::make();
    auto task = spawn(time.executor(), consumeWhileAlive(std::weak_ptr(owner), std::move(stream),
                                                         [](std::vector<int>& seen, int value) { seen.push_back(value); }));
    producer.yield(1);
    producer.yield(2);
    time.run();
    EXPECT_EQ(*owner, (std::vector<int>{1, 2}));
    owner.reset(); // the owner goes: the next element ends the loop without touching it
    producer.yield(3);
    time.run();
    EXPECT_TRUE(task.isFinished());

    auto failing = std::make_shared<std::vector<int>>();
    auto [broken, breaker] = AsyncStream<int>::make();
    breaker.yield(7);
    breaker.finish(std::make_exception_ptr(std::runtime_error("daemon gone")));
    auto consuming = consumeWhileAlive(std::weak_ptr(failing), std::move(broken), [](std::vector<int>& seen, int v) { seen.push_back(v); });
    EXPECT_THROW(time.await(std::move(consuming)), std::runtime_error);
    EXPECT_EQ(*failing, std::vector<int>{7}) << "what came before the failure was handed on";
}

TEST(Runtime, CancellingAWaitingConsumerTerminatesTheStream)
{
    VirtualTime time;
    auto [stream, producer] = AsyncStream<int>::make();
    int terminations = 0;
    producer.onTermination([&](StreamTermination why) {
        ++terminations;
        EXPECT_EQ(why, StreamTermination::cancelled);
    });
    bool consumerCancelled = false;
    auto consume = [&]() -> asio::awaitable<void> {
        try {
            co_await stream.next();
        } catch (...) {
            consumerCancelled = isCancellation(std::current_exception());
        }
    };
    auto task = spawn(time.executor(), consume());
    time.poll();
    EXPECT_FALSE(task.isFinished());
    task.cancel();
    time.poll();
    EXPECT_TRUE(consumerCancelled);
    EXPECT_EQ(terminations, 1);
    EXPECT_FALSE(producer.yield(1));

    // Values yielded from another thread wake a waiting consumer.
    auto [crossing, crosser] = AsyncStream<int>::make();
    int got = 0;
    auto wait = [&]() -> asio::awaitable<void> { got = *co_await crossing.next(); };
    auto waiter = spawn(time.executor(), wait());
    time.poll();
    std::thread([c = crosser] { c.yield(42); }).join();
    time.poll();
    EXPECT_EQ(got, 42);
}

TEST(Runtime, VirtualTimeRunsABackoffTableWithoutWaiting)
{
    VirtualTime time;
    auto backoff = [&]() -> asio::awaitable<void> {
        Clock::Duration delay = 250ms;
        for (int attempt = 0; attempt < 6; ++attempt) {
            co_await Runtime::shared().clock().sleep(delay);
            delay = std::min<Clock::Duration>(delay * 2, 4s);
        }
    };
    auto wallStart = std::chrono::steady_clock::now();
    time.await(backoff());
    EXPECT_EQ(time.clock().requestedSleepSeconds(), (std::vector<double>{0.25, 0.5, 1, 2, 4, 4}));
    EXPECT_DOUBLE_EQ(time.elapsedSeconds(), 11.75);
    EXPECT_LT(std::chrono::steady_clock::now() - wallStart, std::chrono::seconds(5));
}

TEST(Runtime, VirtualTimeFiresSleepsInDeadlineOrder)
{
    VirtualTime time;
    std::vector<int> order;
    auto sleeper = [&](int id, Clock::Duration duration) -> asio::awaitable<void> {
        co_await time.clock().sleep(duration);
        order.push_back(id);
    };
    auto a = spawn(time.executor(), sleeper(1, 3s));
    auto b = spawn(time.executor(), sleeper(2, 1s));
    auto c = spawn(time.executor(), sleeper(3, 2s));
    auto d = spawn(time.executor(), sleeper(4, 1s));
    time.runFor(2.5);
    EXPECT_EQ(order, (std::vector<int>{2, 4, 3}));
    EXPECT_DOUBLE_EQ(time.elapsedSeconds(), 2.5);
    time.run();
    EXPECT_EQ(order, (std::vector<int>{2, 4, 3, 1}));
}

TEST(Runtime, TasksHoldTheirOwnerWeakly)
{
    VirtualTime time;
    struct Owner {
        int delivered = 0;
        Task task;
    };
    auto work = [&](int value) -> asio::awaitable<int> {
        co_await time.clock().sleep(1s);
        co_return value;
    };

    auto owner = std::make_shared<Owner>();
    owner->task = spawnFor<Owner, int>(time.executor(), owner, work(5),
                                       [](Owner& o, int v) { o.delivered = v; });
    time.poll();
    EXPECT_EQ(owner.use_count(), 1) << "the task must not keep its owner alive";
    time.run();
    EXPECT_EQ(owner->delivered, 5);

    // The owner goes away while the work is still running: its result is dropped.
    auto doomed = std::make_shared<Owner>();
    std::weak_ptr<Owner> watch = doomed;
    bool deliveredToGhost = false;
    auto detached = spawnFor<Owner, int>(time.executor(), doomed, work(9),
                                         [&](Owner&, int) { deliveredToGhost = true; });
    time.poll();
    doomed.reset();
    EXPECT_TRUE(watch.expired());
    time.run();
    EXPECT_TRUE(detached.isFinished());
    EXPECT_FALSE(deliveredToGhost);
}

TEST(Runtime, PostBackRunsTheHandlerLaterOnItsOwnExecutor)
{
    asio::io_context home;
    std::vector<std::string> got;
    auto handler = asio::bind_executor(home, [&](std::unique_ptr<int> value, std::string text) {
        got.push_back(std::to_string(*value) + text);
    });
    auto back = postBack(std::move(handler));
    std::thread([&] { back(std::make_unique<int>(7), std::string(" from elsewhere")); }).join();
    EXPECT_TRUE(got.empty()) << "never on the caller's thread or stack";
    home.poll();
    EXPECT_EQ(got, std::vector<std::string>{"7 from elsewhere"});
}

TEST(Runtime, RepeatingTimerTicksOnlyWhileResumed)
{
    VirtualTime time;
    int ticks = 0;
    RepeatingTimer timer(time.executor(), 500ms, time.clockPointer());
    timer.setEventHandler([&] { ++ticks; });
    EXPECT_EQ(timer.state(), RepeatingTimer::State::suspended);
    timer.resume();
    timer.resume(); // no second loop
    time.runFor(2.2);
    EXPECT_EQ(ticks, 4);
    timer.suspend();
    timer.suspend();
    time.runFor(5);
    EXPECT_EQ(ticks, 4);
    timer.resume();
    time.runFor(0.5);
    EXPECT_EQ(ticks, 5);
    EXPECT_EQ(timer.interval(), 500ms);
    EXPECT_THROW(RepeatingTimer(time.executor(), 0ms), std::invalid_argument);
    EXPECT_THROW(RepeatingTimer(time.executor(), -1s), std::invalid_argument);
}

TEST(Runtime, SerialQueueRunsInOrderOffTheCallingThread)
{
    SerialQueue queue("org.quendal.test.serial");
    EXPECT_EQ(queue.label(), "org.quendal.test.serial");
    std::vector<int> order;
    std::atomic<int> concurrent{0}, maxConcurrent{0};
    for (int i = 0; i < 500; ++i) {
        queue.async([&, i] {
            int now = ++concurrent;
            int seen = maxConcurrent.load();
            while (now > seen && !maxConcurrent.compare_exchange_weak(seen, now)) {
            }
            order.push_back(i);
            --concurrent;
        });
    }
    auto size = queue.sync([&] { return order.size(); });
    EXPECT_EQ(size, 500u);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_EQ(maxConcurrent.load(), 1);
    EXPECT_FALSE(queue.isCurrent());
    EXPECT_TRUE(queue.sync([&] { return queue.isCurrent() && queue.sync([] { return true; }); }))
        << "sync from inside the queue must run inline rather than deadlock";
}

TEST(Runtime, HoppingBetweenTheMainActorAndTheBackground)
{
    VirtualTime time;
    auto mainThread = std::this_thread::get_id();
    EXPECT_TRUE(Runtime::shared().isMainThread());
    auto hop = [&]() -> asio::awaitable<std::pair<bool, bool>> {
        auto backgroundThread = co_await inBackground([] { return std::this_thread::get_id(); });
        bool backOnMain = std::this_thread::get_id() == mainThread;
        co_return std::pair{backgroundThread != mainThread, backOnMain};
    };
    std::optional<std::pair<bool, bool>> result;
    asio::co_spawn(time.context(), hop(), [&](std::exception_ptr, std::pair<bool, bool> r) { result = r; });
    while (!result) {
        time.context().restart();
        time.context().run_one();
    }
    EXPECT_TRUE(result->first) << "the work ran on a pool thread";
    EXPECT_TRUE(result->second) << "the coroutine resumed on the main actor";
}
