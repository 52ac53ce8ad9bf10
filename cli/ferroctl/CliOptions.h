#pragma once
// The command line of ferroctl: global options, then a command and its arguments.

#include "link/ConnectionRec.h"

#include <string>
#include <vector>

namespace ferroctl {

struct CliOptions {
    ferro::TConnectionRec link;
    bool verbose = false;
    bool yes = false;
    bool ftp = false;
    std::string command;
    std::vector<std::string> args;
};

// Parses argv; on a mistake returns false with `error` set.
bool ParseCli(int argc, char** argv, CliOptions& out, std::string& error);
void PrintUsage();

} // namespace ferroctl
