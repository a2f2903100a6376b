#include "QuendalFoundation/Runtime/Runtime.h"
#include "ScanTestSupport.h"
#include "Scanning/Procedures/AsyncProcedure.h"
#include "Scanning/Procedures/BlockProcedure.h"
#include "Scanning/Procedures/CommonProcedures.h"
#include "Scanning/Procedures/GroupProcedure.h"
#include "Scanning/Procedures/MainQueueFinishObserver.h"
#include "Scanning/Procedures/ProcedureChain.h"
#include "Scanning/Procedures/ProcedureOutput.h"
#include "Scanning/Procedures/ProcedureQueue.h"
#include "Scanning/Procedures/ProcedureResultWrapper.h"
#include "VirtualTime.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <stdexcept>

using namespace tarnel;
using tarnel::testing::CapturedScanLog;
using tarnel::testing::VirtualTime;
using tarnel::testing::waitUntil;

namespace {

// Records what the engine did to it; finishes only when told.
class Probe : public Procedure, public ProcedureOutput<int> {
public:
    std::atomic<int> executions{0};
    std::atomic<int> cancellations{0};
    bool finishesItself = false;
    Pending<ProcedureResult<int>> outputSeenOf;
    std::shared_ptr<Probe> watched;

protected:
    void execute() override
    {
        if (watched)
            outputSeenOf = watched->output();
        ++executions;
        if (finishesItself)
            finish();
    }
    void procedureDidCancel(Error) override { ++cancellations; }
};

std::shared_ptr<BlockProcedure> recorder(std::vector<std::string>& order, std::mutex& mutex, std::string name)
{
    return std::make_shared<BlockProcedure>(BlockProcedure::Storage::asVoid([&order, &mutex, name] {
        std::lock_guard lock(mutex);
        order.push_back(name);
    }));
}

} // namespace

TEST(Procedures, ForgottenFinishHoldsTheChainAndTheTimeoutWarnsAfterThreeSecondsOfVirtualTime)
{
    VirtualTime time;
    CapturedScanLog log;
    ASSERT_EQ(AsyncProcedure::timeoutInterval(), 3.0);
    std::atomic<bool> started{false};
    auto forgetful = std::make_shared<AsyncProcedure>(true, [&](AsyncProcedure&) { started = true; });
    auto behind = std::make_shared<BlockProcedure>(BlockProcedure::Storage::asVoid([] {}));
    behind->addDependency(forgetful);
    ProcedureQueue queue;
    queue.addOperations({forgetful, behind});
    waitUntil([&] { return started.load(); }, [&] { time.poll(); });

    time.runFor(2.9);
    EXPECT_TRUE(log.messages(ScanLogLevel::warning).empty());
    EXPECT_FALSE(forgetful->isCancelled());

    time.runFor(0.2);
    auto warnings = log.messages(ScanLogLevel::warning);
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_EQ(warnings[0], "Block not finished after 3.0 seconds. This is likely a mistake, check that this block "
                           "calls .finish() on all code paths.");
    EXPECT_EQ(time.clock().requestedSleepSeconds(), std::vector<double>{3.0});
    // The warning cancels but does not finish: the unit and the chain behind it still wait.
    EXPECT_TRUE(forgetful->isCancelled());
    EXPECT_EQ(forgetful->status(), ProcedureStatus::executing);
    EXPECT_EQ(behind->status(), ProcedureStatus::pending);

    forgetful->finish();
    behind->waitUntilFinished();
    EXPECT_EQ(forgetful->status(), ProcedureStatus::cancelled);
    EXPECT_EQ(behind->status(), ProcedureStatus::finished);

    // A block that finishes in time leaves no timer behind, and other cancellations are silent.
    auto prompt = std::make_shared<AsyncProcedure>(true, [](AsyncProcedure& self) { self.finish(); });
    queue.addOperation(prompt);
    prompt->waitUntilFinished();
    time.runFor(10);
    auto other = std::make_shared<AsyncProcedure>(true, [](AsyncProcedure&) {});
    other->cancel(std::make_exception_ptr(ProcedureKitError::timedOut(Delay::by(5))));
    other->cancel();
    EXPECT_EQ(log.messages(ScanLogLevel::warning).size(), 1u);
    EXPECT_EQ(prompt->status(), ProcedureStatus::finished);
}

TEST(Procedures, CancelAllOperationsTellsTheRunningUnitOnceAndEndsTheRestUnexecuted)
{
    auto running = std::make_shared<Probe>();
    auto waiting = std::make_shared<Probe>();
    auto dependent = std::make_shared<Probe>();
    dependent->addDependency(running);
    ProcedureQueue queue;
    queue.setMaxConcurrentOperationCount(1);
    queue.addOperations({running, waiting, dependent});
    waitUntil([&] { return running->executions == 1; });

    queue.cancelAllOperations();
    running->cancel(); // a second cancel is not told again
    EXPECT_EQ(running->cancellations, 1);
    EXPECT_EQ(running->status(), ProcedureStatus::executing) << "a running unit is never stopped by force";
    waiting->waitUntilFinished();
    dependent->waitUntilFinished();
    EXPECT_EQ(waiting->executions, 0);
    EXPECT_EQ(dependent->executions, 0);
    EXPECT_EQ(waiting->status(), ProcedureStatus::cancelled);

    running->finish(std::make_exception_ptr(std::runtime_error("late")));
    running->finish(); // later finishes do nothing
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(running->status(), ProcedureStatus::cancelled);
    EXPECT_EQ(describeError(running->error()), "late");
    EXPECT_EQ(queue.operationCount(), 0u);
}

TEST(Procedures, ADependencyOnACancelledUnitStillRunsAndFindsThePendingOutput)
{
    auto cancelled = std::make_shared<Probe>();
    cancelled->cancel();
    auto dependent = std::make_shared<Probe>();
    dependent->finishesItself = true;
    dependent->watched = cancelled;
    dependent->addDependency(cancelled);
    bool handled = false;
    auto link = makeChainLink<Probe>(cancelled, [&](const int&) { handled = true; });

    ProcedureQueue queue;
    queue.addOperations({cancelled, dependent, link});
    dependent->waitUntilFinished();
    EXPECT_EQ(cancelled->executions, 0);
    EXPECT_EQ(dependent->executions, 1);
    EXPECT_TRUE(dependent->outputSeenOf.isPending());
    EXPECT_EQ(dependent->status(), ProcedureStatus::finished);

    // The link behind a unit without a value neither handles nor finishes, until cancelled.
    waitUntil([&] { return link->isExecuting(); });
    EXPECT_FALSE(handled);
    queue.cancelAllOperations();
    link->waitUntilFinished();
    EXPECT_FALSE(handled);

    auto wrapped = ProcedureResultWrapper<int>::from(*cancelled);
    EXPECT_TRUE(wrapped.isCancelled());
    EXPECT_FALSE(wrapped.isSuccess());
}

TEST(Procedures, QueueKeepsItsWidthAndStartsReadyUnitsInTheOrderOfAdding)
{
    std::vector<std::string> order;
    std::mutex mutex;
    auto a = recorder(order, mutex, "a");
    auto b = recorder(order, mutex, "b");
    auto c = recorder(order, mutex, "c");
    b->addDependency(c);
    ProcedureQueue serial;
    serial.setMaxConcurrentOperationCount(1);
    serial.addOperations({a, b, c});
    serial.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(order, (std::vector<std::string>{"a", "c", "b"}));

    std::vector<std::shared_ptr<Probe>> probes;
    for (int i = 0; i < 4; ++i)
        probes.push_back(std::make_shared<Probe>());
    ProcedureQueue pair;
    pair.setMaxConcurrentOperationCount(2);
    pair.addOperations({probes.begin(), probes.end()});
    waitUntil([&] { return probes[0]->executions + probes[1]->executions == 2; });
    EXPECT_EQ(probes[2]->executions + probes[3]->executions, 0);
    probes[1]->finish();
    waitUntil([&] { return probes[2]->executions == 1; });
    EXPECT_EQ(probes[3]->executions, 0);
    for (auto& probe : probes)
        probe->finish();
    pair.waitUntilAllOperationsAreFinished();
}

TEST(Procedures, GroupsFinishWithTheirChildrenAndSequentialGroupsStopAtAFailure)
{
    ProcedureQueue queue;
    auto empty = std::make_shared<GroupProcedure>();
    queue.addOperation(empty);
    empty->waitUntilFinished();
    EXPECT_EQ(empty->status(), ProcedureStatus::finished);

    auto child = std::make_shared<Probe>();
    auto idle = std::make_shared<Probe>();
    auto group = std::make_shared<GroupProcedure>(std::vector<std::shared_ptr<Procedure>>{child, idle});
    group->setMaxConcurrentOperationCount(1);
    queue.addOperation(group);
    waitUntil([&] { return child->executions == 1; });
    group->cancel();
    EXPECT_EQ(child->cancellations, 1);
    child->finish();
    group->waitUntilFinished();
    EXPECT_EQ(idle->executions, 0);
    EXPECT_EQ(group->status(), ProcedureStatus::cancelled);

    std::vector<std::string> order;
    std::mutex mutex;
    auto failing = std::make_shared<BlockProcedure>(
        BlockProcedure::Storage::asVoid([] { throw std::runtime_error("disk gone"); }));
    auto sequence = makeSequentialGroup({recorder(order, mutex, "first"), recorder(order, mutex, "second"),
                                         failing, recorder(order, mutex, "never")});
    queue.addOperation(sequence);
    sequence->waitUntilFinished();
    EXPECT_EQ(order, (std::vector<std::string>{"first", "second"}));
    EXPECT_EQ(sequence->status(), ProcedureStatus::cancelled);
    EXPECT_EQ(describeError(sequence->error()), "disk gone");
}

TEST(Procedures, ResultWrapperAndMainQueueUnits)
{
    VirtualTime time;
    auto valued = std::make_shared<Probe>();
    valued->setOutputValue(7);
    valued->finishesItself = true;
    auto silent = std::make_shared<Probe>();
    silent->finishesItself = true;
    auto failed = std::make_shared<BlockProcedure>(BlockProcedure::Storage::asVoid([] { throw std::logic_error("x"); }));

    bool onMain = false;
    std::exception_ptr seenError;
    MainQueueFinishObserver<BlockProcedure>([&](BlockProcedure&, std::exception_ptr error) {
        onMain = quendal::Runtime::shared().isMainThread();
        seenError = error;
    }).attach(*failed);

    ProcedureQueue queue;
    queue.addOperations({valued, silent, failed});
    queue.waitUntilAllOperationsAreFinished();
    ASSERT_NE(ProcedureResultWrapper<int>::from(*valued).value(), nullptr);
    EXPECT_EQ(*ProcedureResultWrapper<int>::from(*valued).value(), 7);
    auto unknown = ProcedureResultWrapper<int>::from(*silent);
    EXPECT_EQ(describeError(unknown.error()), "Unknown error");
    int dispatched = 0;
    unknown.dispatch([&](const int&) { dispatched = 1; }, [&](std::exception_ptr) { dispatched = 2; });
    EXPECT_EQ(dispatched, 2);

    EXPECT_EQ(seenError, nullptr) << "the handler waits for the main queue";
    time.poll();
    EXPECT_TRUE(onMain);
    EXPECT_EQ(describeError(seenError), "x");

    // The no-op finishes on the main queue, so its dependents run after what was queued there.
    std::vector<std::string> order;
    std::mutex mutex;
    auto noOp = makeNoOpProcedure();
    auto after = recorder(order, mutex, "after");
    after->addDependency(noOp);
    bool ranOnMain = false;
    auto onMainUnit = std::make_shared<RunOnMainProcedure>([&] { ranOnMain = quendal::Runtime::shared().isMainThread(); });
    queue.addOperations({noOp, after, onMainUnit});
    waitUntil([&] { return after->isFinished() && onMainUnit->isFinished(); }, [&] { time.poll(); });
    EXPECT_TRUE(ranOnMain);
    EXPECT_EQ(order, std::vector<std::string>{"after"});
}
