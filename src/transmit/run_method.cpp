#include "transmit/run_method.h"

#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"
#include "transmit/child_program.h"
#include "transmit/command_template.h"
#include "transmit/transmit_settings.h"

namespace vocarta {

namespace {
constexpr TransmitTexts kRunTexts = {
    "You have the run executable transmit option enabled. Would you like to run \"%s\" with "
    "this recording as a command-line argument?",
    "Run Executable?",
    "Cannot run the exe program with the file \"%s\". Please check the External Exe Path in "
    "Options->Transmit again.",
    "You have the run executable transmit option enabled. \n But the attempt to run \n \"%s\" \n "
    "with this recording as a command-line argument failed."};
}  // namespace

bool RunTransmitMethod::Enabled() const {
    return transmit_settings::SendRun();
}

std::string RunTransmitMethod::Target() const {
    return transmit_settings::SendRunExe();
}

const TransmitTexts& RunTransmitMethod::Texts() const {
    return kRunTexts;
}

TransmitResult RunExternal(const TransmitRecord& record, TransmitContext& context, int waitMs) {
    const std::string command = transmit_settings::SendRunExe();
    auto args = BuildCommandArguments(command, CutText(record.path));
    if (!args) {
        context.LogError(StringPrintf("RunExternal: the command \"%s\" cannot be run: %s",
                                      command.c_str(), args.Error().Message().c_str()));
        return TransmitResult::Failed;
    }
    const std::string& program = args.Value().front();
    context.SetStatus("Running " + BaseName(program));
    auto child = LChildProgram::Start(args.Value());
    if (!child) {
        const bool missing = child.Error().Code() == LErrorCode::kNotFound;
        context.LogError(StringPrintf("RunExternal: the program \"%s\" cannot be started%s: %s",
                                      program.c_str(), missing ? " (it is missing)" : "",
                                      child.Error().Message().c_str()));
        return TransmitResult::Failed;
    }
    switch (child.Value()->WaitForEnd(waitMs, context.StopSignal())) {
        case LChildProgram::Wait::Stopped:
            LogEvent("RunExternal: \"%s\" left running for %s: the send was stopped",
                     program.c_str(), record.path.c_str());
            return TransmitResult::Cancelled;
        case LChildProgram::Wait::TimedOut:
            context.LogError(StringPrintf(
                "RunExternal: the program \"%s\" was still running after %g s; left running",
                program.c_str(), waitMs / 1000.0));
            return TransmitResult::Failed;
        case LChildProgram::Wait::Ended:
            break;
    }
    if (child.Value()->Succeeded()) return TransmitResult::Ok;
    context.LogError(StringPrintf("RunExternal: the program \"%s\" %s", program.c_str(),
                                  child.Value()->EndDescription().c_str()));
    return TransmitResult::Failed;
}

}  // namespace vocarta
