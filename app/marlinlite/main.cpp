// marlinlite: the desktop host. For now it opens an empty main window; views arrive with the forms.
#include <QApplication>
#include <QLabel>
#include <QMainWindow>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationName("marlinlite");
    QMainWindow w;
    w.setWindowTitle("Marlin Lite");
    auto* label = new QLabel("Marlin Lite – keine Geräte konfiguriert", &w);
    label->setAlignment(Qt::AlignCenter);
    w.setCentralWidget(label);
    w.resize(900, 600);
    w.show();
    return app.exec();
}
