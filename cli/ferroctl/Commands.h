#pragma once
// The commands of ferroctl. Each returns the process exit code.

#include "CliOptions.h"

namespace ferroctl {

int RunIdentify(const CliOptions& opt);
int RunCommands(const CliOptions& opt);

} // namespace ferroctl
