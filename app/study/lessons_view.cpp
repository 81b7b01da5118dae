#include "app/study/lessons_view.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollArea>
#include <QStackedWidget>
#include <QVBoxLayout>

#include "app/study/breakable_text.h"
#include "app/study/lessons_view_model.h"
#include "app/theme/theme.h"

namespace talvo {

namespace {

QString q(const std::string& s) {
    return QString::fromStdString(s);
}

// Titles and labels come from the server: plain text only.
QLabel* label(const char* name, const QString& text, QFont font, const char* role = nullptr) {
    return theme::windowLabel(name, text, std::move(font), role);
}

QString u(const char* s) {
    return QString::fromUtf8(s);
}

QString countsText(size_t items, int64_t have) {
    return QStringLiteral("%1 thẻ · %2 đã có trong bộ ôn").arg(items).arg(have);
}

// A page that says one thing in the middle of the window.
QWidget* statePage(QVBoxLayout*& content) {
    auto* page = new QWidget;
    auto* outer = new QVBoxLayout(page);
    outer->addStretch(2);
    content = new QVBoxLayout;
    content->setSpacing(10);
    outer->addLayout(content);
    outer->addStretch(3);
    return page;
}

QString lessonsStyleSheet() {
    return theme::studyWindowStyleSheet(QStringLiteral("lessonsWindow")) +
           QStringLiteral(
               "QFrame#lessonCard { background: %1; border: 1px solid %2; border-radius: 10px; }"
               "QLabel[role=\"complete\"] { color: %4; }"
               "QWidget#banner { background: %1; border: 1px solid %2; border-radius: 6px; }"
               "QPushButton[role=\"primary\"] { color: %3; }"
               "QProgressBar { background: %1; border: 1px solid %2; border-radius: 3px;"
               " max-height: 6px; }"
               "QProgressBar::chunk { background: %5; border-radius: 3px; }")
               .arg(YDao::card().name(), YDao::line().name(), YDao::seal().name(),
                    YDao::jade().name(), YDao::gold().name());
}

}  // namespace

LessonsView::LessonsView(LessonsViewModel& model, QWidget* parent)
    : QWidget(parent, Qt::Window), m_model(model) {
    setObjectName(QStringLiteral("lessonsWindow"));
    setAttribute(Qt::WA_StyledBackground);
    setWindowTitle(QStringLiteral("Lộ trình học"));
    setStyleSheet(lessonsStyleSheet());
    setFont(theme::bodyFont(14));
    setMinimumSize(420, 420);
    resize(560, 640);

    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(22, 18, 22, 18);
    outer->setSpacing(12);
    outer->addWidget(label("header", u(kHeader), theme::bodyFont(14), "muted"));

    // A reload or its failure while a list is shown: one line above the list.
    m_banner = new QWidget;
    m_banner->setObjectName(QStringLiteral("banner"));
    m_banner->setAttribute(Qt::WA_StyledBackground);
    auto* banner = new QHBoxLayout(m_banner);
    banner->setContentsMargins(10, 6, 6, 6);
    m_bannerText = label("bannerText", QString(), theme::bodyFont(13));
    m_bannerRetry = new QPushButton(u(kRetry));
    m_bannerRetry->setObjectName(QStringLiteral("bannerRetry"));
    banner->addWidget(m_bannerText, 1);
    banner->addWidget(m_bannerRetry);
    outer->addWidget(m_banner);

    m_pages = new QStackedWidget;
    outer->addWidget(m_pages, 1);

    QVBoxLayout* content = nullptr;
    m_busyPage = statePage(content);
    QLabel* busy = label("busyText", u(kLoading), theme::bodyFont(15), "muted");
    busy->setAlignment(Qt::AlignCenter);
    auto* bar = new QProgressBar;
    bar->setRange(0, 0);  // no known end: the bar runs back and forth
    bar->setTextVisible(false);
    bar->setFixedWidth(180);
    content->addWidget(busy);
    content->addWidget(bar, 0, Qt::AlignHCenter);
    m_pages->addWidget(m_busyPage);

    m_failedPage = statePage(content);
    QLabel* failed = label("failedText", u(kFailed), theme::bodyFont(17, true), "seal");
    failed->setAlignment(Qt::AlignCenter);
    QLabel* hint = label("failedHint", u(kFailedHint), theme::bodyFont(14));
    hint->setAlignment(Qt::AlignCenter);
    m_failedDetail = label("failedDetail", QString(), theme::bodyFont(12), "muted");
    m_failedDetail->setAlignment(Qt::AlignCenter);
    auto* retry = new QPushButton(u(kRetry));
    retry->setObjectName(QStringLiteral("retry"));
    retry->setProperty("role", "primary");
    content->addWidget(failed);
    content->addWidget(hint);
    content->addWidget(m_failedDetail);
    content->addWidget(retry, 0, Qt::AlignHCenter);
    m_pages->addWidget(m_failedPage);

    m_emptyPage = statePage(content);
    QLabel* empty = label("emptyText", u(kEmpty), theme::bodyFont(17), "muted");
    empty->setAlignment(Qt::AlignCenter);
    content->addWidget(empty);
    m_pages->addWidget(m_emptyPage);

    auto* scroll = new QScrollArea;
    scroll->setWidgetResizable(true);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setFrameShape(QFrame::NoFrame);
    m_listPage = scroll;
    auto* holder = new QWidget;
    m_list = new QVBoxLayout(holder);
    m_list->setContentsMargins(0, 0, 0, 0);
    m_list->addStretch(1);
    scroll->setWidget(holder);
    m_pages->addWidget(m_listPage);
    m_busyPage->setObjectName(QStringLiteral("busyPage"));
    m_failedPage->setObjectName(QStringLiteral("failedPage"));
    m_emptyPage->setObjectName(QStringLiteral("emptyPage"));
    m_listPage->setObjectName(QStringLiteral("listPage"));

    for (QPushButton* b : {retry, m_bannerRetry}) {
        // Explicitly: the platform theme's button font outranks the window's.
        b->setFont(theme::bodyFont(14));
        connect(b, &QPushButton::clicked, this, [this] { m_model.load(); });
    }
    rebuildRows();
    refresh();
}

LessonsView::~LessonsView() = default;

void LessonsView::refresh() {
    const bool loading = m_model.loading();
    if ((m_wasLoading && !loading) || m_rows.size() != m_model.lessons().size()) {
        rebuildRows();
    } else {
        updateRows();
    }
    m_wasLoading = loading;

    const bool hasList = !m_model.lessons().empty();
    QWidget* page = m_listPage;
    if (!hasList) {
        page = loading ? m_busyPage : m_model.failed() ? m_failedPage : m_emptyPage;
    }
    m_pages->setCurrentWidget(page);
    m_failedDetail->setText(q(m_model.lastError()));
    m_failedDetail->setVisible(!m_model.lastError().empty());

    m_banner->setVisible(hasList && (loading || m_model.failed()));
    m_bannerText->setText(loading ? u(kLoading) : u(kFailed) + QLatin1Char(' ') + u(kFailedHint));
    m_bannerText->setToolTip(q(m_model.lastError()));
    m_bannerRetry->setVisible(!loading);
}

void LessonsView::rebuildRows() {
    // The old rows leave the tree at once and are deleted once the event
    // being handled (perhaps a click on one of them) is over.
    if (m_listContent) {
        m_listContent->hide();
        m_listContent->setParent(nullptr);
        m_listContent->deleteLater();
    }
    m_rows.clear();
    m_listContent = new QWidget;
    auto* rows = new QVBoxLayout(m_listContent);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->setSpacing(10);

    const std::vector<wire::Lesson>& lessons = m_model.lessons();
    for (size_t i = 0; i < lessons.size(); ++i) {
        const wire::Lesson& lesson = lessons[i];
        auto* card = new QFrame;
        card->setObjectName(QStringLiteral("lessonCard"));
        auto* line = new QHBoxLayout(card);
        line->setContentsMargins(16, 12, 14, 12);
        line->setSpacing(14);
        // A column of its own, kept when empty, so that the titles line up.
        QLabel* han =
            label("hanLabel", q(lesson.hanLabel.value_or("")), theme::hanFont(28), "seal");
        han->setMinimumWidth(3 * 28 + 8);
        han->setMaximumWidth(5 * 28 + 8);
        line->addWidget(han, 0, Qt::AlignVCenter);
        auto* text = new QVBoxLayout;
        text->setSpacing(2);
        text->addWidget(label("title", breakableText(q(lesson.title)), theme::bodyFont(16, true)));
        Row row;
        row.counts = label("counts", QString(), theme::bodyFont(13), "muted");
        text->addWidget(row.counts);
        line->addLayout(text, 1);
        row.add = new QPushButton;
        row.add->setObjectName(QStringLiteral("add"));
        row.add->setProperty("role", "primary");
        row.add->setCursor(Qt::PointingHandCursor);
        row.add->setFont(theme::bodyFont(14));
        row.complete = label("complete", u(kComplete), theme::bodyFont(13), "complete");
        row.complete->setWordWrap(false);
        line->addWidget(row.add, 0, Qt::AlignVCenter);
        line->addWidget(row.complete, 0, Qt::AlignVCenter);
        // By position: the list is only rebuilt after a load, never under a
        // click, so the index still names this lesson when it fires.
        connect(row.add, &QPushButton::clicked, this, [this, i] {
            if (i < m_model.lessons().size()) {
                m_model.add(m_model.lessons()[i]);
            }
        });
        rows->addWidget(card);
        m_rows.push_back(row);
    }
    m_list->insertWidget(0, m_listContent);
    updateRows();
}

void LessonsView::updateRows() {
    const std::vector<wire::Lesson>& lessons = m_model.lessons();
    for (size_t i = 0; i < m_rows.size() && i < lessons.size(); ++i) {
        const wire::Lesson& lesson = lessons[i];
        Row& row = m_rows[i];
        row.counts->setText(countsText(lesson.items.size(), m_model.have(lesson)));
        LessonsViewModel::Action action = m_model.actionFor(lesson);
        row.add->setVisible(action != LessonsViewModel::Action::complete);
        row.add->setText(u(action == LessonsViewModel::Action::add ? kAdd : kAddMissing));
        row.complete->setVisible(action == LessonsViewModel::Action::complete);
    }
}

}  // namespace talvo
