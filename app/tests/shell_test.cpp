// The shell's small services: language, credits, release feed, daily timer,
// single instance.
#include <gtest/gtest.h>

#include <QApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimeZone>
#include <QTimer>
#include <thread>

#include "app/platform/notifications/daily_timers.h"
#include "app/shell/dictionary_credits.h"
#include "app/shell/localization.h"
#include "app/shell/single_instance.h"
#include "app/shell/update_checker.h"
#include "core/db/database.h"
#include "core/tests/fixture_dict.h"
#include "net/settings/app_settings.h"

using namespace talvo;
using talvo::testing::TempDir;

TEST(LocalizationTest, UnknownSavedLanguagesStartInVietnameseWithoutBeingWritten) {
    TempDir dir;
    for (const char* raw : {"fr", "", "EN"}) {
        AppSettings s(dir.file(std::string("s") + raw + ".ini"));
        s.setString("app.language", raw);
        Localization l(s);
        EXPECT_EQ(l.lang(), AppLanguage::vi) << raw;
        EXPECT_EQ(s.string("app.language"), raw);
    }
    AppSettings s(dir.file("zh.ini"));
    s.setString("app.language", "zh");
    Localization l(s);
    EXPECT_EQ(l.text(msg::kQuit), QStringLiteral("結束"));
    int changes = 0;
    l.onChange = [&] { ++changes; };
    l.setLang(AppLanguage::en);
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(AppSettings(dir.file("zh.ini")).string("app.language"), "en");
    EXPECT_EQ(l.format(msg::kNoReverseMatch, QStringLiteral("xa")),
              QStringLiteral("No Hán character found for the reading “xa”."));
}

TEST(DictionaryCreditsTest, ReadsTheSourcesTheBuildRecorded) {
    TempDir dir;
    std::string path = dir.file("dict.sqlite");
    {
        db::Database d(path, db::Database::Mode::ReadWriteCreate);
        ASSERT_TRUE(d.exec(
            "CREATE TABLE meta(key TEXT PRIMARY KEY, value TEXT);"
            "INSERT INTO meta VALUES('sources', '[{\"id\":\"thieuchuu\",\"title\":\"Thiều Chửu "
            "(1942)\",\"license\":\"public domain\",\"credit\":\"digitised by R. P.\"},"
            "{\"title\":\"\"},{\"title\":\"Unihan\"}]');"));
    }
    auto credits = dictionaryCredits(path);
    ASSERT_EQ(credits.size(), 2u);
    EXPECT_EQ(credits[0].title, "Thiều Chửu (1942)");
    EXPECT_EQ(credits[0].license, "public domain");
    EXPECT_EQ(credits[0].credit, "digitised by R. P.");
    EXPECT_EQ(credits[1].license, "");
    // Older or damaged files: no credits, no failure.
    EXPECT_TRUE(dictionaryCredits(dir.file("missing.sqlite")).empty());
    EXPECT_TRUE(parseSourceCredits("{not json").empty());
    EXPECT_TRUE(parseSourceCredits("{\"title\":\"x\"}").empty());
}

TEST(UpdateCheckerTest, ReadsVersionsFromSparkleFeeds) {
    QByteArray feed = R"(<?xml version="1.0"?>
<rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle">
 <channel><title>Talvo</title>
  <item><title>0.2</title><sparkle:version>42</sparkle:version>
   <sparkle:shortVersionString>0.2.0</sparkle:shortVersionString></item>
  <item><title>0.1.1</title>
   <enclosure url="https://x/t.dmg" sparkle:version="0.1.1" length="1" type="x"/></item>
  <item><title>no version</title></item>
 </channel></rss>)";
    EXPECT_EQ(UpdateChecker::appcastVersions(feed), (std::vector<std::string>{"0.2.0", "0.1.1"}));
    EXPECT_TRUE(UpdateChecker::appcastVersions("<html><body>404</body>").empty());
    EXPECT_TRUE(UpdateChecker::appcastVersions("<rss><item><version>1").empty());

    TempDir dir;
    AppSettings settings(dir.file("s.ini"));
    settings.setServiceUrl("https://talvo.example");
    OnlineHooks offline;  // no fetcher: the check fails, it does not hang
    UpdateChecker checker(settings, offline, "0.1.0");
    std::optional<UpdateVerdict> verdict;
    checker.check([&](const UpdateVerdict& v) { verdict = v; });
    ASSERT_TRUE(verdict);
    EXPECT_EQ(verdict->kind, UpdateVerdict::Kind::Failed);
}

TEST(DailyTimersTest, AimAtTheNextOccurrenceOfTheHour) {
    QTimeZone zone("Asia/Ho_Chi_Minh");
    QDateTime morning(QDate(2025, 3, 4), QTime(9, 30), zone);
    EXPECT_EQ(DailyTimers::msecsUntilNext(morning, 20), 10.5 * 3600 * 1000);
    QDateTime evening(QDate(2025, 3, 4), QTime(20, 0), zone);
    EXPECT_EQ(DailyTimers::msecsUntilNext(evening, 20), 24 * 3600 * 1000);
    QDateTime late(QDate(2025, 3, 4), QTime(23, 0), zone);
    EXPECT_EQ(DailyTimers::msecsUntilNext(late, 20), 21 * 3600 * 1000);
    // The night the clocks spring forward has 23 hours.
    QDateTime beforeChange(QDate(2025, 3, 9), QTime(1, 0), QTimeZone("America/New_York"));
    EXPECT_EQ(DailyTimers::msecsUntilNext(beforeChange, 20), 18 * 3600 * 1000);
}

TEST(SingleInstanceTest, ASecondLaunchHandsItsRequestToTheFirst) {
    QString name = QStringLiteral("talvo-test-%1").arg(QCoreApplication::applicationPid());
    SingleInstance first(name);
    QByteArray received;
    first.onRequest = [&](const QByteArray& r) {
        received = r;
        // A lookup turns the event loop while it reads the selection; the
        // sender has hung up by then, and its socket must outlive this.
        QEventLoop wait;
        QTimer::singleShot(300, &wait, &QEventLoop::quit);
        wait.exec();
    };
    ASSERT_TRUE(first.claim("settings"));

    // The second one runs in a thread of its own: it blocks while delivering.
    bool secondWasFirst = true;
    std::thread second([&] {
        SingleInstance again(name);
        secondWasFirst = again.claim("settings");
    });
    QElapsedTimer t;
    t.start();
    while (received.isEmpty() && t.elapsed() < 5000) {
        QApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    second.join();
    QApplication::processEvents();
    EXPECT_FALSE(secondWasFirst);
    EXPECT_EQ(received, QByteArray("settings"));
}
