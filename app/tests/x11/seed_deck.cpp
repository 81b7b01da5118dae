// Prepares a study deck as a learner would leave it after DAYS days of daily
// study, so the study windows can be looked at in a lived-in state: each day
// the whole queue is graded (mostly Good, some Again/Hard/Easy) at a morning
// hour, through the same store calls the study window makes.
//
// usage: talvo_seed_deck STUDY_SQLITE DICT DAYS
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <random>

#include "core/lookup/dictionary_store.h"
#include "core/progress/progress_store.h"
#include "core/study/study_database.h"
#include "core/study/study_store.h"

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s STUDY_SQLITE DICT DAYS\n", argv[0]);
        return 2;
    }
    const int days = std::atoi(argv[3]);
    try {
        talvo::DictionaryStore dict(argv[2]);
        std::mt19937 rng(7);
        const int64_t now = static_cast<int64_t>(std::time(nullptr));
        for (int back = days; back >= 0; --back) {
            // 07:30 on that day in the local zone; an early start earns the
            // early-bird badge, as it would for a real learner.
            std::time_t t = static_cast<std::time_t>(now - int64_t{back} * 86400);
            std::tm local{};
            localtime_r(&t, &local);
            local.tm_hour = 7;
            local.tm_min = 30;
            local.tm_sec = 0;
            int64_t at = static_cast<int64_t>(std::mktime(&local));
            talvo::Clock clock = talvo::Clock::fixed(at, "");
            talvo::StudyDatabase database(argv[1], clock);
            talvo::StudyStore store(database);
            store.seedIfEmpty(dict);
            if (back == 0) {
                break;  // today's queue is left for the window
            }
            int64_t today = clock.today();
            for (const talvo::StudyCard& card : store.queue(today)) {
                int roll = static_cast<int>(rng() % 20);
                talvo::Rating r = roll < 2    ? talvo::Rating::Again
                                  : roll < 4  ? talvo::Rating::Hard
                                  : roll < 17 ? talvo::Rating::Good
                                              : talvo::Rating::Easy;
                store.grade(card, r, today);
            }
            talvo::ProgressStore(database).evaluateBadges(today);
        }
    } catch (const std::exception& e) {
        std::fprintf(stderr, "talvo_seed_deck: %s\n", e.what());
        return 1;
    }
    return 0;
}
