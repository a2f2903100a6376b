#include "Scanning/Procedures/MainQueueFinishObserver.h"

#include "Scanning/Procedures/ProcedureKitError.h"
#include "Scanning/ScanLog.h"

namespace tarnel {

void attachErrorPrinterObserver(Procedure& unit)
{
    MainQueueFinishObserver<Procedure>([](Procedure& ended, std::exception_ptr error) {
        if (error)
            ScanLog::shared().log(ScanLogLevel::error, ended.name().empty()
                                                           ? describeError(error)
                                                           : ended.name() + ": " + describeError(error));
    }).attach(unit);
}

} // namespace tarnel
