#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>
#include <random>

#include "core/db/database.h"
#include "core/progress/badges.h"
#include "core/progress/progress_store.h"
#include "core/study/study_store.h"
#include "core/tests/fixture_dict.h"
#include "core/tests/study_test_util.h"

using namespace talvo;
using namespace talvo::testing;

namespace {

constexpr int64_t kToday = 20000;

void insertLog(db::Database& d, const std::string& uid, int64_t ts, int64_t day, int64_t rating,
               int64_t elapsed = 1) {
    db::Statement st(d,
                     "INSERT INTO review_log (card_uid, ts, day, rating, elapsed, interval) "
                     "VALUES (?, ?, ?, ?, ?, 1)");
    st.bind(1, uid).bind(2, ts).bind(3, day).bind(4, rating).bind(5, elapsed);
    ASSERT_TRUE(st.run());
}

int64_t scalar(db::Database& d, const std::string& sql) {
    db::Statement st(d, sql);
    return st.step() ? st.int64(0) : -999;
}

class ProgressStoreTest : public ::testing::Test {
  protected:
    std::unique_ptr<StudyStores> open(int64_t day = kToday, int64_t seconds = 1'728'000'000) {
        return std::make_unique<StudyStores>(dir.file("study.sqlite"), clockOnDay(day, seconds));
    }
    StudyStores& store() {
        if (!m_store) {
            m_store = open();
        }
        return *m_store;
    }
    db::Database& d() { return store().db.connection(); }
    void exec(const std::string& sql) { ASSERT_TRUE(d().exec(sql)) << sql; }
    std::vector<std::string> evaluate() { return store().progress.evaluateBadges(kToday); }

    TempDir dir;
    std::unique_ptr<StudyStores> m_store;
};

// Runs fn in a child process whose time zone (TZ) is `zone`, the way the
// program meets a machine's zone. The child reports through its exit status
// (the number of failed checks) and explains them on standard error.
int inZone(const char* zone, const std::function<int()>& fn) {
    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t pid = fork();
    if (pid == 0) {
        setenv("TZ", zone, 1);
        tzset();
        int failures = 1;
        try {
            failures = fn();
        } catch (...) {
        }
        std::fflush(stderr);
        _exit(std::min(failures, 120));
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 200;
}

// Seconds since 1970 of a local wall-clock time in the current zone.
int64_t localTime(int year, int month, int day, int hour, int minute) {
    std::tm tm{};
    tm.tm_year = year - 1900;
    tm.tm_mon = month - 1;
    tm.tm_mday = day;
    tm.tm_hour = hour;
    tm.tm_min = minute;
    tm.tm_isdst = -1;
    return static_cast<int64_t>(std::mktime(&tm));
}

}  // namespace

TEST_F(ProgressStoreTest, AFreshDatabaseShowsTheStartingProfile) {
    EXPECT_TRUE(evaluate().empty());
    // Level 1 at 0/100 XP, streak 0, goal 20, retention -1, no heat map, no badges.
    ProfileStats expected;
    expected.rankHan = "童生";
    expected.rankName = "Đồng sinh";
    expected.avatarGlyph = "印";
    EXPECT_EQ(store().progress.profileStats(kToday), expected);
}

TEST_F(ProgressStoreTest, XpComesFromReviewsAndQuizAnswers) {
    insertCard(d(), "char:數", 0, 0, 0, "số");
    StudyCard card = *store().study.cardByUid("char:數");
    ASSERT_TRUE(store().study.grade(card, Rating::Good, kToday));
    EXPECT_EQ(store().progress.xpTotal(), 30);  // review 10 + good 5 + first time 15
    EXPECT_EQ(store().progress.xpToday(kToday), 15);
    card = *store().study.cardByUid("char:數");
    ASSERT_TRUE(store().study.grade(card, Rating::Again, kToday));
    EXPECT_EQ(store().progress.xpTotal(), 40);
    EXPECT_EQ(store().progress.xpToday(kToday), 25);
    EXPECT_EQ(store().progress.xpToday(kToday + 1), 0);

    for (int i = 0; i < 10; ++i) {
        ASSERT_TRUE(store().progress.recordQuiz("char:數", "typeAm", i < 8, 1200));
    }
    open(kToday - 1)->progress.recordQuiz("char:數", "amFromHan", true);
    EXPECT_EQ(store().progress.xpTotal(), 40 + 16 + 2);
    EXPECT_EQ(store().progress.xpToday(kToday), 25 + 16);
    EXPECT_EQ(scalar(d(),
                     "SELECT COUNT(*) FROM quiz_log WHERE day=20000 AND mode='typeAm' "
                     "AND ms=1200 AND ts=1728000000"),
              10);

    ProfileStats p = store().progress.profileStats(kToday);
    EXPECT_EQ(p.xpTotal, 58);
    EXPECT_EQ(p.xpToday, 41);
    EXPECT_EQ(p.totalReviews, 2);
    EXPECT_EQ(p.learned, 1);
    EXPECT_EQ(p.heatmap, (std::map<int64_t, int64_t>{{kToday, 2}}));
}

TEST_F(ProgressStoreTest, CountsMatchTheirDefinitionsOnUntidyLogs) {
    // Logs merged from elsewhere may hold NULLs, negative or text values;
    // the figures must equal their plain definitions whatever the rows hold.
    std::mt19937 rng(11);
    const char* ratings[] = {"1", "2", "3", "4", "NULL", "0", "'x'", "3.5"};
    const char* elapsed[] = {"0", "1", "7", "-2", "NULL", "'y'", "0.5"};
    for (int i = 0; i < 400; ++i) {
        exec("INSERT INTO review_log (card_uid, ts, day, rating, elapsed) VALUES ('c" +
             std::to_string(rng() % 60) + "', 1, " + std::to_string(kToday - rng() % 3) + ", " +
             ratings[rng() % 8] + ", " + elapsed[rng() % 7] + ")");
    }
    exec("INSERT INTO quiz_log (card_uid, day, correct) VALUES ('c1', 20000, 1), ('c2', 20000, 0)");
    const int64_t expected = 10 * scalar(d(), "SELECT COUNT(*) FROM review_log") +
                             5 * scalar(d(), "SELECT COUNT(*) FROM review_log WHERE rating>=3") +
                             15 * scalar(d(), "SELECT COUNT(DISTINCT card_uid) FROM review_log") +
                             2 * scalar(d(), "SELECT COUNT(*) FROM quiz_log WHERE correct=1");
    EXPECT_EQ(store().progress.xpTotal(), expected);
    const double later = scalar(d(), "SELECT COUNT(*) FROM review_log WHERE elapsed>0");
    const double good =
        scalar(d(), "SELECT COUNT(*) FROM review_log WHERE elapsed>0 AND rating>=3");
    EXPECT_DOUBLE_EQ(store().progress.profileStats(kToday).retention, good / later);
}

TEST_F(ProgressStoreTest, RetentionCountsOnlyReviewsWithAPreviousInterval) {
    insertLog(d(), "a", 1, kToday, 3, 0);  // first reviews do not count
    insertLog(d(), "b", 1, kToday, 1, 0);
    EXPECT_EQ(store().progress.profileStats(kToday).retention, -1);
    insertLog(d(), "a", 2, kToday, 3, 2);
    insertLog(d(), "a", 3, kToday, 4, 5);
    insertLog(d(), "b", 4, kToday, 2, 1);
    EXPECT_DOUBLE_EQ(store().progress.profileStats(kToday).retention, 2.0 / 3.0);
}

TEST_F(ProgressStoreTest, TheHeatMapCoversTheNinetyDaysEndingToday) {
    insertLog(d(), "a", 1, kToday - 90, 3);
    insertLog(d(), "a", 1, kToday - 89, 3);
    for (int i = 0; i < 12; ++i) {
        insertLog(d(), "b", 1, kToday, 3);
    }
    exec("INSERT INTO quiz_log (card_uid, day, correct) VALUES ('a', 20000, 1)");
    EXPECT_EQ(store().progress.heatmap(kToday),
              (std::map<int64_t, int64_t>{{kToday - 89, 1}, {kToday, 12}}));
    EXPECT_EQ(store().progress.heatmap(kToday, 7), (std::map<int64_t, int64_t>{{kToday, 12}}));
}

TEST_F(ProgressStoreTest, SettingsComeFromCfgWithTheirDefaults) {
    exec(
        "INSERT INTO cfg VALUES ('daily_goal', 'abc'), ('streak', '7 '), ('best_streak', '25'),"
        "('display_name', 'Lan'), ('avatar_uid', '藥')");
    ProfileStats p = store().progress.profileStats(kToday);
    EXPECT_EQ(p.dailyGoal, 20);
    EXPECT_EQ(p.streak, 0);
    EXPECT_EQ(p.bestStreak, 25);
    EXPECT_EQ(p.freezeAvailable, 2);
    EXPECT_EQ(p.displayName, "Lan");
    EXPECT_EQ(p.avatarGlyph, "藥");
    ASSERT_TRUE(store().progress.setDailyGoal(50));
    EXPECT_EQ(store().progress.dailyGoal(), 50);
    EXPECT_EQ(store().study.cfg("daily_goal"), "50");
}

TEST_F(ProgressStoreTest, StreakBadgesOfOnePassShareOneMoment) {
    exec("INSERT INTO cfg VALUES ('best_streak', '7'), ('streak', '1')");
    EXPECT_EQ(evaluate(), (std::vector<std::string>{"streak3", "streak7"}));
    EXPECT_EQ(scalar(d(), "SELECT COUNT(*) FROM badge WHERE earned_at=1728000000 AND day=20000"),
              2);
    EXPECT_TRUE(evaluate().empty());
    EXPECT_EQ(store().progress.earnedBadges(), (std::set<std::string>{"streak3", "streak7"}));
    // A badge once earned stays, whatever happens to the history.
    exec("UPDATE cfg SET v='0' WHERE k='best_streak'");
    EXPECT_TRUE(evaluate().empty());
    EXPECT_EQ(store().progress.profileStats(kToday).earnedBadges.size(), 2u);
}

TEST_F(ProgressStoreTest, LearnedAndMasteredCardsAreCountedFromTheDeck) {
    for (int i = 0; i < 100; ++i) {
        insertCard(d(), "char:" + std::to_string(i), i, i < 100 ? 1 : 0, kToday);
    }
    exec("UPDATE card SET stability=21 WHERE id<=50");
    EXPECT_EQ(evaluate(), (std::vector<std::string>{"learned100"}));
    exec("UPDATE card SET stability=21.01 WHERE id<=50");
    EXPECT_EQ(evaluate(), (std::vector<std::string>{"mastered50"}));
    EXPECT_EQ(store().progress.profileStats(kToday).mastered, 50);
}

TEST_F(ProgressStoreTest, APerfectDayNeedsFiveReviewsAllGoodOrEasy) {
    const int64_t kNoon = localTime(2024, 3, 10, 12, 0);  // neither early nor late
    for (int i = 0; i < 4; ++i) {
        insertLog(d(), "a", kNoon, 10, 3 + i % 2);
    }
    EXPECT_TRUE(evaluate().empty());
    insertLog(d(), "a", kNoon, 11, 2);
    for (int i = 0; i < 5; ++i) {
        insertLog(d(), "a", kNoon, 11, 4);
    }
    EXPECT_TRUE(evaluate().empty());
    insertLog(d(), "a", kNoon, 10, 3);
    EXPECT_EQ(evaluate(), (std::vector<std::string>{"perfectDay"}));
}

TEST_F(ProgressStoreTest, PerfectDayAgreesWithGroupingByDayOnUntidyLogs) {
    // Days and ratings that are NULL, real or text, as merged logs may carry.
    exec("PRAGMA synchronous=OFF");  // speed only: nothing here must survive
    const char* days[] = {"1", "2", "3", "2.0", "2.5", "NULL", "'d'"};
    const char* ratings[] = {"3", "4", "3", "4", "2", "NULL", "'x'", "2.9"};
    std::mt19937 rng(5);
    for (int round = 0; round < 60; ++round) {
        exec("DELETE FROM review_log; DELETE FROM badge");
        const int rows = 3 + static_cast<int>(rng() % 20);
        for (int i = 0; i < rows; ++i) {
            exec(
                std::string("INSERT INTO review_log (card_uid, ts, day, rating) VALUES ('a', 1, ") +
                days[rng() % 7] + ", " + ratings[rng() % 8] + ")");
        }
        const bool perfect =
            scalar(d(),
                   "SELECT COUNT(*) FROM (SELECT day FROM review_log GROUP BY day HAVING "
                   "COUNT(*)>=5 AND SUM(CASE WHEN rating<3 THEN 1 ELSE 0 END)=0)") >= 1;
        std::vector<std::string> got = evaluate();
        EXPECT_EQ(std::count(got.begin(), got.end(), "perfectDay"), perfect ? 1 : 0)
            << "round " << round;
    }
}

TEST_F(ProgressStoreTest, AFailedAwardIsOfferedAgainAndDoesNotBlockTheOthers) {
    exec("INSERT INTO cfg VALUES ('best_streak', '8')");
    exec(
        "CREATE TRIGGER refuse BEFORE INSERT ON badge WHEN NEW.code='streak3' "
        "BEGIN SELECT RAISE(ABORT, 'no'); END");
    EXPECT_EQ(evaluate(), (std::vector<std::string>{"streak3", "streak7"}));
    EXPECT_EQ(store().progress.earnedBadges(), (std::set<std::string>{"streak7"}));
    exec("DROP TRIGGER refuse");
    EXPECT_EQ(evaluate(), (std::vector<std::string>{"streak3"}));
    // A badge stored by another path keeps its first moment.
    exec("INSERT INTO badge (code, earned_at, day) VALUES ('nightOwl', 5, 5)");
    EXPECT_TRUE(evaluate().empty());
    EXPECT_EQ(scalar(d(), "SELECT earned_at FROM badge WHERE code='nightOwl'"), 5);
}

TEST_F(ProgressStoreTest, TimeOfDayBadgesFollowTheLocalClockOfTheMachine) {
    for (const char* zone : {"UTC", "Asia/Ho_Chi_Minh", "America/New_York"}) {
        TempDir where;
        int failures = inZone(zone, [&] {
            int bad = 0;
            auto expect = [&](bool ok, const std::string& what) {
                if (!ok) {
                    std::fprintf(stderr, "%s: %s\n", zone, what.c_str());
                    ++bad;
                }
            };
            StudyStores s(where.file("study.sqlite"), clockOnDay(kToday));
            db::Database& d = s.db.connection();
            // July: New York on summer time.
            insertLog(d, "a", localTime(2024, 7, 3, 7, 0), 1, 3);
            insertLog(d, "a", localTime(2024, 7, 3, 21, 59), 1, 3);
            expect(s.progress.evaluateBadges(kToday).empty(), "07:00 and 21:59 earn nothing");
            insertLog(d, "a", localTime(2024, 12, 3, 6, 59), 1, 3);
            expect(s.progress.evaluateBadges(kToday) == std::vector<std::string>{"earlyBird"},
                   "06:59 is early");
            insertLog(d, "a", localTime(2024, 7, 4, 22, 0), 1, 3);
            expect(s.progress.evaluateBadges(kToday) == std::vector<std::string>{"nightOwl"},
                   "22:00 is late");
            return bad;
        });
        EXPECT_EQ(failures, 0) << zone;
    }
}

TEST_F(ProgressStoreTest, InAPosixZoneTheDayOfAGradeAndItsBadgeHourAgree) {
    // TZ rules that ICU cannot read ("<+07>-7" is UTC+7) must not make the day
    // numbers fall back to UTC while SQLite's hours follow the machine.
    struct Case {
        const char* zone;
        int64_t expectedDay;  // of a grade at 22:30 local on 24 November 2026
    } cases[] = {
        {"<+07>-7", 20780},           // local midnight: 17:00 UTC on the 23rd
        {"EST5EDT", 20781},           // local midnight: 05:00 UTC on the 24th
        {"Asia/Ho_Chi_Minh", 20780},  // the same as the first, by name
    };
    for (const Case& c : cases) {
        TempDir where;
        int failures = inZone(c.zone, [&] {
            const int64_t at = localTime(2026, 11, 24, 22, 30);
            StudyStores s(where.file("study.sqlite"), Clock::fixed(at, ""));
            insertCard(s.db.connection(), "char:數", 1, 0, 0, "số");
            int bad = 0;
            if (!s.study.grade(*s.study.cardByUid("char:數"), Rating::Good)) {
                std::fprintf(stderr, "%s: the grade was not written\n", c.zone);
                return 1;
            }
            const int64_t day = scalar(s.db.connection(), "SELECT day FROM review_log");
            if (day != c.expectedDay || s.study.clock().today() != c.expectedDay) {
                std::fprintf(stderr, "%s: day %lld, today %lld\n", c.zone,
                             static_cast<long long>(day),
                             static_cast<long long>(s.study.clock().today()));
                ++bad;
            }
            const std::vector<std::string> earned = s.progress.evaluateBadges();
            if (std::count(earned.begin(), earned.end(), "nightOwl") != 1) {
                std::fprintf(stderr, "%s: 22:30 local did not earn nightOwl\n", c.zone);
                ++bad;
            }
            return bad;
        });
        EXPECT_EQ(failures, 0) << c.zone;
    }
}

TEST_F(ProgressStoreTest, TimeOfDayBadgesAgreeWithSqliteLocalTimeAnywhere) {
    // Moments from 1900 to 2100, fractions and text included, against the
    // rule applied to every row, in zones with summer time, half-hour and
    // quarter-hour offsets and one that crossed the date line.
    for (const char* zone : {"Europe/Berlin", "Australia/Lord_Howe", "Asia/Kathmandu",
                             "Pacific/Apia", "America/Sao_Paulo", "Asia/Ho_Chi_Minh"}) {
        TempDir where;
        int failures = inZone(zone, [&] {
            StudyStores s(where.file("study.sqlite"), clockOnDay(kToday));
            db::Database& d = s.db.connection();
            d.exec("PRAGMA synchronous=OFF");  // speed only: nothing here must survive
            std::mt19937_64 rng(std::hash<std::string>{}(zone));
            int bad = 0;
            for (int round = 0; round < 40; ++round) {
                d.exec("DELETE FROM review_log; DELETE FROM badge");
                for (int i = 0; i < 1 + static_cast<int>(rng() % 4); ++i) {
                    const int64_t ts =
                        static_cast<int64_t>(rng() % 6'311'390'400ULL) - 2'208'988'800LL;
                    switch (rng() % 6) {
                        case 4: {
                            // A second either side of 07:00 or 22:00, local time.
                            const int hour = static_cast<int>(rng() % 2) ? 7 : 22;
                            const int64_t at = localTime(1971 + static_cast<int>(rng() % 67),
                                                         1 + static_cast<int>(rng() % 12),
                                                         1 + static_cast<int>(rng() % 28), hour, 0);
                            insertLog(d, "a", at - static_cast<int64_t>(rng() % 2), 1, 1);
                            break;
                        }
                        case 0:
                            d.exec(
                                "INSERT INTO review_log (card_uid, ts, day, rating) VALUES "
                                "('a', " +
                                std::to_string(ts) + ".5, 1, 1)");
                            break;
                        case 1:
                            d.exec(
                                "INSERT INTO review_log (card_uid, ts, day, rating) VALUES "
                                "('a', 'late', 1, 1)");
                            break;
                        default:
                            insertLog(d, "a", ts, 1, 1);
                    }
                }
                const char* rules[][2] = {
                    {"earlyBird", "< 7"},
                    {"nightOwl", ">= 22"},
                };
                std::vector<std::string> got = s.progress.evaluateBadges(kToday);
                for (auto& [code, test] : rules) {
                    const bool expected =
                        scalar(d, std::string("SELECT COUNT(*) FROM review_log WHERE "
                                              "CAST(strftime('%H', ts, 'unixepoch', "
                                              "'localtime') AS INTEGER) ") +
                                      test) >= 1;
                    if ((std::find(got.begin(), got.end(), code) != got.end()) != expected) {
                        std::fprintf(stderr, "%s round %d: %s should be %d\n", zone, round, code,
                                     expected);
                        ++bad;
                    }
                }
            }
            return bad;
        });
        EXPECT_EQ(failures, 0) << zone;
    }
}
