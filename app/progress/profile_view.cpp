#include "app/progress/profile_view.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

#include "app/progress/heatmap_widget.h"
#include "app/progress/profile_model.h"
#include "app/theme/theme.h"
#include "core/progress/badges.h"
#include "core/progress/profile_stats.h"

namespace talvo {

namespace {

constexpr int kBadgeColumns = 7;
constexpr int kMaxFreezes = 2;  // the most the allowance ever gives

QString qs(const std::string& s) {
    return QString::fromStdString(s);
}

QLabel* label(const char* name, const QFont& font, const char* role = nullptr) {
    auto* l = new QLabel;
    l->setObjectName(QString::fromLatin1(name));
    l->setFont(font);
    if (role) {
        l->setProperty("role", QString::fromLatin1(role));
    }
    return l;
}

QLabel* sectionTitle(const QString& text, const char* name = "") {
    QLabel* l = label(name, theme::bodyFont(12, true), "section");
    l->setText(text);
    return l;
}

// Dynamic properties take effect in a style sheet only after a re-polish.
void setState(QWidget* w, const char* property, const QVariant& value) {
    if (w->property(property) == value) {
        return;
    }
    w->setProperty(property, value);
    w->style()->unpolish(w);
    w->style()->polish(w);
}

int permille(int64_t part, int64_t whole) {
    if (whole <= 0 || part <= 0) {
        return 0;
    }
    const double f = std::min(static_cast<double>(part) / static_cast<double>(whole), 1.0);
    return static_cast<int>(std::lround(f * 1000));
}

QString profileStyleSheet() {
    const QColor dim = YDao::line().darker(118);
    return theme::windowStyleSheet() +
           QStringLiteral(
               "QWidget#profileWindow { background: %1; }"
               "QLabel[role=\"muted\"], QLabel[role=\"section\"] { color: %3; }"
               "QLabel#avatar { color: %4; background: %2; border: 2px solid %4;"
               " border-radius: 34px; }"
               "QLabel#rankHan { color: %4; }"
               "QLabel#level { color: %7; border: 1px solid %7; border-radius: 10px;"
               " padding: 1px 9px; }"
               "QLabel#streakGlyph { color: %4; }"
               "QProgressBar { background: %5; border: none; border-radius: 4px;"
               " min-height: 8px; max-height: 8px; }"
               "QProgressBar::chunk { background: %6; border-radius: 4px; }"
               "QProgressBar#goalBar[met=\"false\"]::chunk { background: %7; }"
               "QFrame[role=\"tile\"] { background: %2; border: 1px solid %5; border-radius: 6px; }"
               "QFrame[role=\"badge\"] { background: transparent; border: 1px dashed %5;"
               " border-radius: 6px; }"
               "QFrame[role=\"badge\"][earned=\"true\"] { background: %2; border: 1px solid %7; }"
               "QLabel[role=\"badgeHan\"] { color: %8; }"
               "QLabel[role=\"badgeHan\"][earned=\"true\"] { color: %4; }"
               "QLabel[role=\"badgeName\"] { color: %8; }"
               "QLabel[role=\"badgeName\"][earned=\"true\"] { color: %9; }"
               "QPushButton#study { color: %2; background: %4; border-color: %4;"
               " font-weight: bold; }"
               "QPushButton#study:hover { background: %10; }")
               .arg(YDao::paper().name(), YDao::card().name(), YDao::muted().name(),
                    YDao::seal().name(), YDao::line().name(), YDao::jade().name(),
                    YDao::gold().name(), dim.name(), YDao::ink().name())
               .arg(YDao::seal().darker(115).name());
}

}  // namespace

ProfileView::ProfileView(ProfileModel& model, std::string zone, QWidget* parent)
    : QWidget(parent, Qt::Window), m_model(model), m_zone(std::move(zone)) {
    setObjectName(QStringLiteral("profileWindow"));
    setWindowTitle(QStringLiteral("Hồ sơ học tập"));
    setAttribute(Qt::WA_StyledBackground);
    setStyleSheet(profileStyleSheet());
    setFont(theme::bodyFont(13));

    auto* root = new QVBoxLayout(this);
    root->setContentsMargins(24, 20, 24, 18);
    root->setSpacing(14);
    root->setSizeConstraint(QLayout::SetFixedSize);
    root->addWidget(buildHeader());

    auto* middle = new QHBoxLayout;
    middle->setSpacing(28);
    middle->addWidget(buildStreakAndGoal(), 1);
    auto* calendar = new QVBoxLayout;
    calendar->setSpacing(6);
    calendar->addWidget(sectionTitle(QString::fromUtf8(progresstext::kHeatmapTitle)));
    m_heatmap = new HeatmapWidget;
    m_heatmap->setObjectName(QStringLiteral("heatmap"));
    calendar->addWidget(m_heatmap);
    calendar->addStretch(1);
    middle->addLayout(calendar);
    root->addLayout(middle);

    root->addWidget(buildBadges());

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    m_quiz = new QPushButton(QStringLiteral("Kiểm tra nhanh"));
    m_quiz->setObjectName(QStringLiteral("quiz"));
    m_study = new QPushButton(QString::fromUtf8(progresstext::kContinueStudy));
    m_study->setObjectName(QStringLiteral("study"));
    for (QPushButton* b : {m_quiz, m_study}) {
        // Buttons take the platform's button face, not the window's, unless told.
        b->setFont(theme::bodyFont(13, b == m_study));
        b->setAutoDefault(false);
        b->setMinimumHeight(32);
        buttons->addWidget(b);
    }
    root->addLayout(buttons);

    connect(m_study, &QPushButton::clicked, this, &ProfileView::studyRequested);
    connect(m_quiz, &QPushButton::clicked, this, &ProfileView::quizRequested);
    connect(m_goalPicker, &QComboBox::activated, this,
            [this](int index) { emit goalChosen(m_goalPicker->itemData(index).toLongLong()); });
    connect(&m_model, &ProfileModel::changed, this, &ProfileView::refresh);
    refresh();
}

QWidget* ProfileView::buildHeader() {
    auto* w = new QWidget;
    auto* row = new QHBoxLayout(w);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(16);
    m_avatar = label("avatar", theme::hanFont(34));
    m_avatar->setFixedSize(68, 68);
    m_avatar->setAlignment(Qt::AlignCenter);
    row->addWidget(m_avatar, 0, Qt::AlignTop);

    auto* col = new QVBoxLayout;
    col->setSpacing(4);
    auto* top = new QHBoxLayout;
    top->setSpacing(10);
    m_name = label("displayName", theme::bodyFont(18, true));
    m_rankHan = label("rankHan", theme::hanFont(20));
    m_rankName = label("rankName", theme::bodyFont(15));
    m_level = label("level", theme::bodyFont(12, true));
    top->addWidget(m_name);
    top->addSpacing(6);
    top->addWidget(m_rankHan);
    top->addWidget(m_rankName);
    top->addWidget(m_level);
    top->addStretch(1);
    col->addLayout(top);

    m_xpBar = new QProgressBar;
    m_xpBar->setObjectName(QStringLiteral("xpBar"));
    m_xpBar->setRange(0, 1000);
    m_xpBar->setTextVisible(false);
    col->addSpacing(4);
    col->addWidget(m_xpBar);
    auto* figures = new QHBoxLayout;
    m_xpText = label("xpText", theme::bodyFont(12));
    m_xpTotal = label("xpTotal", theme::bodyFont(12), "muted");
    figures->addWidget(m_xpText);
    figures->addStretch(1);
    figures->addWidget(m_xpTotal);
    col->addLayout(figures);
    row->addLayout(col, 1);
    return w;
}

QWidget* ProfileView::buildStreakAndGoal() {
    auto* w = new QWidget;
    auto* col = new QVBoxLayout(w);
    col->setContentsMargins(0, 0, 0, 0);
    col->setSpacing(8);

    auto* streak = new QHBoxLayout;
    streak->setSpacing(6);
    QLabel* glyph = label("streakGlyph", theme::hanFont(20));
    glyph->setText(QStringLiteral("火"));
    m_streak = label("streak", theme::bodyFont(15, true));
    m_freezes = label("freezes", theme::bodyFont(15));
    m_freezes->setTextFormat(Qt::RichText);
    m_freezeText = label("freezeText", theme::bodyFont(12), "muted");
    const QString freezeHelp = QStringLiteral(
        "Mỗi 10 ngày của chuỗi dài nhất cho một lần đóng băng chuỗi, tối đa 2: "
        "một ngày nghỉ không làm mất chuỗi.");
    m_freezes->setToolTip(freezeHelp);
    m_freezeText->setToolTip(freezeHelp);
    streak->addWidget(glyph);
    streak->addWidget(m_streak);
    streak->addSpacing(14);
    streak->addWidget(m_freezes);
    streak->addWidget(m_freezeText);
    streak->addStretch(1);
    col->addLayout(streak);

    col->addSpacing(4);
    auto* goalHead = new QHBoxLayout;
    goalHead->addWidget(sectionTitle(QString::fromUtf8(progresstext::kGoalTitle)));
    goalHead->addStretch(1);
    m_goalPicker = new QComboBox;
    m_goalPicker->setObjectName(QStringLiteral("goalPicker"));
    m_goalPicker->setFont(theme::bodyFont(12));
    m_goalPicker->setToolTip(QStringLiteral("XP cần đạt mỗi ngày"));
    goalHead->addWidget(m_goalPicker);
    col->addLayout(goalHead);
    auto* goal = new QHBoxLayout;
    goal->setSpacing(10);
    m_goalBar = new QProgressBar;
    m_goalBar->setObjectName(QStringLiteral("goalBar"));
    m_goalBar->setRange(0, 1000);
    m_goalBar->setTextVisible(false);
    m_goalBar->setProperty("met", false);
    m_goalText = label("goalText", theme::bodyFont(13, true));
    goal->addWidget(m_goalBar, 1);
    goal->addWidget(m_goalText);
    col->addLayout(goal);

    col->addSpacing(6);
    col->addWidget(buildFigures());
    m_deckLine = label("deckLine", theme::bodyFont(12), "muted");
    col->addWidget(m_deckLine);
    col->addStretch(1);
    return w;
}

QWidget* ProfileView::buildFigures() {
    auto* w = new QWidget;
    auto* row = new QHBoxLayout(w);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(8);
    auto tile = [&](const char* name, const char* caption) {
        auto* f = new QFrame;
        f->setProperty("role", QStringLiteral("tile"));
        auto* v = new QVBoxLayout(f);
        v->setContentsMargins(8, 6, 8, 6);
        v->setSpacing(0);
        QLabel* value = label(name, theme::bodyFont(20, true));
        value->setAlignment(Qt::AlignCenter);
        QLabel* cap = label("", theme::bodyFont(11), "muted");
        cap->setText(QString::fromUtf8(caption));
        cap->setAlignment(Qt::AlignCenter);
        v->addWidget(value);
        v->addWidget(cap);
        row->addWidget(f, 1);
        return value;
    };
    m_bestStreak = tile("bestStreak", progresstext::kBestStreak);
    m_totalReviews = tile("totalReviews", progresstext::kTotalReviews);
    m_learned = tile("learned", progresstext::kLearned);
    m_retention = tile("retention", progresstext::kRetention);
    m_retention->setToolTip(
        QStringLiteral("Tỉ lệ lượt ôn lại (không tính lần học đầu) được chấm Được hoặc Dễ"));
    return w;
}

QWidget* ProfileView::buildBadges() {
    auto* w = new QWidget;
    auto* col = new QVBoxLayout(w);
    col->setContentsMargins(0, 0, 0, 0);
    col->setSpacing(6);
    m_badgeTitle = sectionTitle(QString(), "badgeTitle");
    col->addWidget(m_badgeTitle);
    auto* grid = new QGridLayout;
    grid->setSpacing(6);
    const std::vector<BadgeDef>& all = Badges::all();
    for (size_t i = 0; i < all.size(); ++i) {
        const BadgeDef& b = all[i];
        auto* cell = new QFrame;
        cell->setObjectName(qs("badge_" + b.code));
        cell->setProperty("role", QStringLiteral("badge"));
        cell->setProperty("earned", false);
        cell->setToolTip(qs(b.detail));
        cell->setFixedSize(96, 64);
        auto* v = new QVBoxLayout(cell);
        v->setContentsMargins(4, 4, 4, 4);
        v->setSpacing(0);
        QLabel* han = label("han", theme::hanFont(22), "badgeHan");
        han->setText(qs(b.han));
        QLabel* name = label("name", theme::bodyFont(11), "badgeName");
        name->setText(qs(b.name));
        for (QLabel* l : {han, name}) {
            l->setAlignment(Qt::AlignCenter);
            l->setProperty("earned", false);
            v->addWidget(l);
        }
        grid->addWidget(cell, static_cast<int>(i) / kBadgeColumns,
                        static_cast<int>(i) % kBadgeColumns);
        m_badges[b.code] = cell;
    }
    col->addLayout(grid);
    return w;
}

void ProfileView::fillGoalPicker(int64_t current) {
    QSignalBlocker block(m_goalPicker);
    m_goalPicker->clear();
    bool listed = false;
    for (const profile::GoalChoice& c : profile::kGoalChoices) {
        // A goal set elsewhere (the command line takes any number) keeps its
        // place in the order instead of being shown as one it is not.
        if (!listed && current < c.xp) {
            m_goalPicker->addItem(QStringLiteral("%1 XP").arg(current),
                                  QVariant::fromValue<qlonglong>(current));
            listed = true;
        }
        m_goalPicker->addItem(
            QStringLiteral("%1 XP · %2").arg(c.xp).arg(QString::fromUtf8(c.label)),
            QVariant::fromValue<qlonglong>(c.xp));
        listed = listed || c.xp == current;
    }
    if (!listed) {
        m_goalPicker->addItem(QStringLiteral("%1 XP").arg(current),
                              QVariant::fromValue<qlonglong>(current));
    }
    m_goalPicker->setCurrentIndex(m_goalPicker->findData(QVariant::fromValue<qlonglong>(current)));
}

void ProfileView::refresh() {
    const ProfileStats& s = m_model.stats();

    m_avatar->setText(profileview::avatarText(s.avatarGlyph));
    m_name->setText(profileview::displayNameText(s.displayName));
    setState(m_name, "role", s.displayName.empty() ? QStringLiteral("muted") : QString());
    m_rankHan->setText(qs(s.rankHan));
    m_rankName->setText(qs(s.rankName));
    m_level->setText(QStringLiteral("Cấp %1").arg(s.level));
    m_xpBar->setValue(permille(s.xpIntoLevel, s.xpLevelSpan));
    m_xpText->setText(QStringLiteral("%1 / %2 XP đến cấp %3")
                          .arg(s.xpIntoLevel)
                          .arg(s.xpLevelSpan)
                          .arg(s.level + 1));
    m_xpTotal->setText(QStringLiteral("tổng %1 XP").arg(s.xpTotal));

    m_streak->setText(QStringLiteral("Chuỗi %1 ngày").arg(s.streak));
    const int64_t freezes = std::clamp<int64_t>(s.freezeAvailable, 0, kMaxFreezes);
    m_freezes->setText(QStringLiteral("<span style=\"color:%1\">%2</span>"
                                      "<span style=\"color:%3\">%4</span>")
                           .arg(YDao::jade().name(), QString(freezes, QChar(0x2744)),
                                YDao::line().name(),
                                QString(kMaxFreezes - freezes, QChar(0x2744))));
    m_freezeText->setText(freezes == 0 ? QStringLiteral("chưa có lần đóng băng chuỗi")
                                       : QStringLiteral("%1 lần đóng băng chuỗi").arg(freezes));

    const int64_t goal = std::max<int64_t>(s.dailyGoal, 1);
    fillGoalPicker(goal);
    m_goalBar->setValue(permille(s.xpToday, goal));
    const bool met = s.xpToday >= goal;
    setState(m_goalBar, "met", met);
    m_goalText->setText(QStringLiteral("%1 / %2 XP").arg(s.xpToday).arg(goal) +
                        (met ? QStringLiteral("  ✓") : QString()));

    m_bestStreak->setText(QString::number(s.bestStreak));
    m_totalReviews->setText(QString::number(s.totalReviews));
    m_learned->setText(QString::number(s.learned));
    m_retention->setText(profileview::retentionText(s.retention));
    m_deckLine->setText(
        QStringLiteral("Bộ thẻ %1 chữ · nhớ vững (trên 21 ngày) %2").arg(s.total).arg(s.mastered));

    m_heatmap->setData(s.heatmap, m_model.today(), m_zone);

    int held = 0;
    for (const auto& [code, cell] : m_badges) {
        const bool earned = s.earnedBadges.count(code) > 0;
        held += earned ? 1 : 0;
        setState(cell, "earned", earned);
        for (QLabel* l : cell->findChildren<QLabel*>()) {
            setState(l, "earned", earned);
        }
    }
    m_badgeTitle->setText(
        QStringLiteral("Huy hiệu · %1/%2").arg(held).arg(static_cast<int>(m_badges.size())));
}

void ProfileView::closeEvent(QCloseEvent* event) {
    hide();
    event->ignore();
}

}  // namespace talvo
