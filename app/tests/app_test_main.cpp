#include <gtest/gtest.h>

#include <QApplication>
#include <cstdio>

// The widget tests need an application object and no display: they run on
// the offscreen platform unless the caller chose another.
int main(int argc, char** argv) {
    // The offscreen platform says so each time a window asks for a mask or
    // to be raised; that is expected here and would bury real messages.
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
        if (!text.startsWith(QLatin1String("This plugin does not support"))) {
            fprintf(stderr, "%s: %s\n", type == QtWarningMsg ? "warning" : "qt", qPrintable(text));
        }
    });
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
