// Built-ins that need the engine: evaluation, function handles and applying them,
// timing, session commands, files and path, output, warnings and errors, figures, Java
// class path, containers.Map. Each group is a table ended by a null name.
#pragma once

#include "krt/lang/call.h"

namespace krt::builtins {

extern const lang::IntrinsicEntry kEvaluationFunctions[];
extern const lang::IntrinsicEntry kErrorFunctions[];
extern const lang::IntrinsicEntry kWarningFunctions[];
extern const lang::IntrinsicEntry kOutputFunctions[];
extern const lang::IntrinsicEntry kPathFunctions[];
extern const lang::IntrinsicEntry kFigureFunctions[];
extern const lang::IntrinsicEntry kJavaFunctions[];
extern const lang::IntrinsicEntry kConstantFunctions[];
extern const lang::IntrinsicEntry kHandleFunctions[];
extern const lang::IntrinsicEntry kApplyFunctions[];
extern const lang::IntrinsicEntry kTimingFunctions[];
extern const lang::IntrinsicEntry kCommandFunctions[];
extern const lang::IntrinsicEntry kContainersMapFunctions[];

inline constexpr lang::IntrinsicGroup kIntrinsicGroups[] = {
    {"Evaluation and calls", kEvaluationFunctions},
    {"Function handles", kHandleFunctions},
    {"Applying functions", kApplyFunctions},
    {"Timing", kTimingFunctions},
    {"Session commands", kCommandFunctions},
    {"Errors", kErrorFunctions},
    {"Warnings", kWarningFunctions},
    {"Output", kOutputFunctions},
    {"Files and the path", kPathFunctions},
    {"Figures", kFigureFunctions},
    {"Java", kJavaFunctions},
    {"Constants", kConstantFunctions},
    {"Associative containers", kContainersMapFunctions}};

}  // namespace krt::builtins
