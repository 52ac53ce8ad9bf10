#pragma once
// The command line of ferroctl: global options, then a command and its arguments.

#include "link/ConnectionRec.h"

#include <cstdio>
#include <string>
#include <vector>

namespace ferroctl {

struct CliOptions {
    ferro::TConnectionRec link;
    bool verbose = false;
    bool yes = false;
    bool ftp = false;
    bool help = false;    // -h or --help: print the usage and do nothing else
    std::string langFile; // --lang: language file for the names of show and export
    std::string command;
    std::vector<std::string> args;
};

// Parses argv; on a mistake returns false with `error` set.
bool ParseCli(int argc, char** argv, CliOptions& out, std::string& error);
// The German usage text; to stdout when asked for, to stderr after a mistake.
void PrintUsage(std::FILE* to = stderr);

} // namespace ferroctl
