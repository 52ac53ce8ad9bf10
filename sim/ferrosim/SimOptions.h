#pragma once
// Command line of ferrosim.

#include <cstdint>
#include <string>
#include <vector>

namespace ferro::sim {

struct SimOptions {
    std::string root;
    uint16_t port = 0;
    std::string faults;
    std::string supply; // --supply: overrides of the profile's supply, "h5=7,df=0.6"
    std::string profile; // empty: profile.json in the root
    bool help = false;
    int sshPort = -1; // -1: no SSH service; 0: a free port
    bool serial = false;
    bool exitWithParent = false; // SIGTERM when the process that started us ends
    int ftpPort = -1;            // -1: no FTP server; 0: a free port
    int historyDays = 7;         // history the recorder writes at the first start of a root
    double timeScale = 1;        // the device clock runs this many times as fast as the host's
    int rebootMs = 3000;         // how long the port stays closed after a firmware update
    int generation = -1;         // -1: the profile's firmware; 0 to 2: a firmware of that layout generation
    // --make-update VERSION REVISION OUT.zip [--corrupt]: write an update archive and end.
    std::vector<std::string> makeUpdate;
    bool corrupt = false;

    // False with `error` (usage text included) on a bad command line.
    bool parse(int argc, char** argv, std::string& error);
    static const char* usage();
};

} // namespace ferro::sim
