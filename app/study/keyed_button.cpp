#include "app/study/keyed_button.h"

#include <QHBoxLayout>
#include <QLabel>

#include "app/theme/theme.h"

namespace talvo {

KeyedButton::KeyedButton(const QString& key, QWidget* parent) : QPushButton(parent) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(12, 8, 12, 8);
    row->setSpacing(10);
    m_key = new QLabel(key);
    m_key->setObjectName(QStringLiteral("key"));
    m_key->setTextFormat(Qt::PlainText);
    m_key->setFont(theme::bodyFont(12, true));
    m_key->setProperty("role", "key");
    m_text = new QLabel;
    m_text->setObjectName(QStringLiteral("text"));
    m_text->setTextFormat(Qt::PlainText);
    m_text->setWordWrap(true);
    m_text->setAlignment(Qt::AlignCenter);
    for (QLabel* l : {m_key, m_text}) {
        // Clicks belong to the button, not to its labels.
        l->setAttribute(Qt::WA_TransparentForMouseEvents);
    }
    row->addWidget(m_key, 0, Qt::AlignVCenter);
    row->addWidget(m_text, 1);
    // As wide as the key, so the text stays centred on the button.
    row->addSpacing(m_key->sizeHint().width());
    setFocusPolicy(Qt::NoFocus);
    setCursor(Qt::PointingHandCursor);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Minimum);
}

void KeyedButton::setLabel(const QString& text) {
    m_text->setText(text);
    setAccessibleName(m_key->text() + QLatin1Char(' ') + text);
    updateGeometry();
}

QString KeyedButton::label() const {
    return m_text->text();
}

QSize KeyedButton::sizeHint() const {
    return layout()->sizeHint();
}

QSize KeyedButton::minimumSizeHint() const {
    return layout()->minimumSize();
}

int KeyedButton::heightForWidth(int width) const {
    return layout()->totalHeightForWidth(width);
}

}  // namespace talvo
