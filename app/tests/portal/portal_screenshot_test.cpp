// Pictures of the screen through the scripted portal's Screenshot interface:
// the interactive request, the picture read from the file:// URI, which
// files are ours to remove (and which are not), the user's cancel, a portal
// that fails or is missing, and a request that supersedes a waiting one.
#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QScreen>
#include <QTemporaryDir>
#include <QUrl>
#include <optional>

#include "app/platform/capture/portal/portal_screen_capture.h"
#include "app/tests/portal/portal_test_support.h"

using namespace talvo;
using namespace talvo::testing;

namespace {

void script(bool available, uint response, const QString& path = QString()) {
    QDBusMessage m = portalTestCall(QStringLiteral("ScriptScreenshot"));
    m << available << response
      << (path.isEmpty() ? QString() : QUrl::fromLocalFile(path).toString());
    QDBusConnection::sessionBus().call(m);
}

QString writePicture(const QString& path, QSize size) {
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::white);
    EXPECT_TRUE(image.save(path, "PNG")) << path.toStdString();
    return path;
}

// Asks for a picture and waits for the answer.
std::optional<CaptureOutcome> take(PortalScreenCapture& capture) {
    std::optional<CaptureOutcome> got;
    capture.capture([&](CaptureOutcome o) { got = std::move(o); });
    waitFor([&] { return got.has_value(); });
    return got;
}

// A folder of the user's own, outside every temporary folder (ctest runs in
// the build tree).
class UsersFolder {
  public:
    UsersFolder() : m_path(QDir::currentPath() + QStringLiteral("/portal-pictures")) {
        QDir().mkpath(m_path);
    }
    ~UsersFolder() { QDir(m_path).removeRecursively(); }
    QString file(const QString& name) const { return m_path + QLatin1Char('/') + name; }

  private:
    QString m_path;
};

}  // namespace

TEST(PortalScreenshotTest, AWholeScreenIsChosenOnAndAChosenRegionIsReadAsItIs) {
    PortalScreenCapture capture;
    QTemporaryDir tmp;  // under TMPDIR: where a portal leaves files for us
    const QSize screen = QGuiApplication::primaryScreen()->geometry().size();

    // The whole screen, left in a temporary folder: read, then removed.
    const QString whole = writePicture(tmp.filePath(QStringLiteral("shot.png")), screen);
    script(true, 0, whole);
    std::optional<CaptureOutcome> got = take(capture);
    ASSERT_TRUE(got);
    ASSERT_EQ(got->status, CaptureOutcome::Status::Captured);
    ASSERT_EQ(got->pictures.size(), 1u);
    EXPECT_EQ(got->pictures[0].image.size(), screen);
    EXPECT_TRUE(got->pictures[0].geometry.isEmpty());
    EXPECT_FALSE(got->regionChosen);
    EXPECT_FALSE(QFile::exists(whole));
    // Asked interactively, modal, with a token for the answer's path.
    QJsonObject options = portalCallsOf(QStringLiteral("Screenshot"))
                              .last()
                              .toObject()[QStringLiteral("options")]
                              .toObject();
    EXPECT_EQ(options[QStringLiteral("interactive")].toBool(), true);
    EXPECT_EQ(options[QStringLiteral("modal")].toBool(), true);
    EXPECT_FALSE(options[QStringLiteral("handle_token")].toString().isEmpty());

    // A region the user picked in the desktop's dialog, saved among their
    // pictures: read as the region, and left where it is.
    UsersFolder users;
    const QString region = writePicture(users.file(QStringLiteral("Screenshot.png")), {240, 60});
    script(true, 0, region);
    got = take(capture);
    ASSERT_TRUE(got);
    ASSERT_EQ(got->status, CaptureOutcome::Status::Captured);
    EXPECT_TRUE(got->regionChosen);
    EXPECT_EQ(got->pictures[0].image.size(), QSize(240, 60));
    EXPECT_TRUE(QFile::exists(region));
}

TEST(PortalScreenshotTest, NothingThatIsNotOursIsRemoved) {
    PortalScreenCapture capture;
    QTemporaryDir tmp;
    UsersFolder users;

    // A link in a temporary folder to one of the user's pictures: neither goes.
    const QString target = writePicture(users.file(QStringLiteral("kept.png")), {100, 40});
    const QString link = tmp.filePath(QStringLiteral("link.png"));
    ASSERT_TRUE(QFile::link(target, link));
    script(true, 0, link);
    std::optional<CaptureOutcome> got = take(capture);
    ASSERT_TRUE(got);
    EXPECT_EQ(got->status, CaptureOutcome::Status::Captured);
    EXPECT_TRUE(QFile::exists(link));
    EXPECT_TRUE(QFile::exists(target));

    // A picture that was there long before the request: not made for us.
    const QString old = writePicture(tmp.filePath(QStringLiteral("old.png")), {100, 40});
    QFile file(old);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    ASSERT_TRUE(file.setFileTime(QDateTime::currentDateTime().addSecs(-3600),
                                 QFileDevice::FileModificationTime));
    file.close();
    script(true, 0, old);
    got = take(capture);
    ASSERT_TRUE(got);
    EXPECT_EQ(got->status, CaptureOutcome::Status::Captured);
    EXPECT_TRUE(QFile::exists(old));

    // Not a picture, or not a file at all: failed, and nothing removed.
    const QString text = tmp.filePath(QStringLiteral("notes.png"));
    QFile notes(text);
    ASSERT_TRUE(notes.open(QIODevice::WriteOnly));
    notes.write("not a picture");
    notes.close();
    script(true, 0, text);
    got = take(capture);
    ASSERT_TRUE(got);
    EXPECT_EQ(got->status, CaptureOutcome::Status::Failed);
    QDBusMessage remote = portalTestCall(QStringLiteral("ScriptScreenshot"));
    remote << true << 0u << QStringLiteral("https://example.invalid/shot.png");
    QDBusConnection::sessionBus().call(remote);
    got = take(capture);
    ASSERT_TRUE(got);
    EXPECT_EQ(got->status, CaptureOutcome::Status::Failed);
}

TEST(PortalScreenshotTest, CancelFailureAMissingPortalAndASupersededRequest) {
    PortalScreenCapture capture;
    script(true, 1);  // the user closed the dialog
    std::optional<CaptureOutcome> got = take(capture);
    ASSERT_TRUE(got);
    EXPECT_EQ(got->status, CaptureOutcome::Status::Cancelled);

    script(true, 2);  // the portal gave up
    got = take(capture);
    ASSERT_TRUE(got);
    EXPECT_EQ(got->status, CaptureOutcome::Status::Failed);

    script(false, 0);  // no Screenshot interface
    got = take(capture);
    ASSERT_TRUE(got);
    EXPECT_EQ(got->status, CaptureOutcome::Status::Unavailable);

    // A dialog that stays open, then a new request: the first is cancelled,
    // the second answered.
    QTemporaryDir tmp;
    script(true, 99);
    std::optional<CaptureOutcome> first;
    capture.capture([&](CaptureOutcome o) { first = std::move(o); });
    ASSERT_TRUE(waitFor([] { return portalCallsOf(QStringLiteral("Screenshot")).size() >= 1; }));
    script(true, 0, writePicture(tmp.filePath(QStringLiteral("shot.png")), {50, 20}));
    got = take(capture);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->status, CaptureOutcome::Status::Cancelled);
    ASSERT_TRUE(got);
    EXPECT_EQ(got->status, CaptureOutcome::Status::Captured);
}
