// Test main of the widget tests: a QApplication (message boxes and forms need one), then GoogleTest.
#include <QApplication>
#include <QStandardPaths>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    ::testing::InitGoogleTest(&argc, argv);
    QApplication app(argc, argv);
    QApplication::setOrganizationName("FerroTest");
    QApplication::setApplicationName("marlinlite-test");
    // Keeps settings and folders of the tests out of the user's own.
    QStandardPaths::setTestModeEnabled(true);
    return RUN_ALL_TESTS();
}
