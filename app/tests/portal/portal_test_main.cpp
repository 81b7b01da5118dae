#include <gtest/gtest.h>

#include <QGuiApplication>

// The portal tests run on the offscreen platform: pictures are compared with
// its screen, and no window is shown.
int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
