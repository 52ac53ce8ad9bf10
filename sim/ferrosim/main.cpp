// ferrosim: the simulated instrument (grows with the simulator's own sources).
#include <QCoreApplication>

#include <cstdio>

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    std::fprintf(stderr, "ferrosim: not yet serving\n");
    return 0;
}
