// ferroctl: the link core on the command line.
#include "link/CommandTable.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstring>

namespace {
void usage() {
    std::fprintf(stderr, "usage: ferroctl commands\n"
                         "  commands   list the protocol's command table\n");
}
} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc < 2) {
        usage();
        return 2;
    }
    if (std::strcmp(argv[1], "commands") == 0) {
        for (const auto& row : ferro::CommandTable())
            std::printf("%-24s Cmd=%u Priv=%u ExtCmd=0x%X\n", row.Name, row.Cmd, row.Priv, row.ExtCmd);
        return 0;
    }
    usage();
    return 2;
}
