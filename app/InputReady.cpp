#include "app/Master.h"
#include "engine/Recorder.h"
#include "input/InputTap.h"
#include "platform/StartupChecks.h"

bool InputReady() {
    return CheckInputReady(PlatformInputAccess(), GetInputRecordFilePath(), PlatformInstallIdentifier(), [] {
        ConnectRecorderToTap();
        return PlatformStartInputTap();
    });
}
