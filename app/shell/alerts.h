#pragma once

#include <QString>
#include <utility>
#include <vector>

namespace talvo {

// Modal alerts: what the user must see. Tests record them instead.
class Alerts {
  public:
    enum class Style { Warning, Information };

    virtual ~Alerts() = default;
    // Returns once the user dismissed it.
    virtual void show(const QString& title, const QString& text, Style style = Style::Warning) = 0;
};

class MessageBoxAlerts : public Alerts {
  public:
    void show(const QString& title, const QString& text, Style style) override;
};

class RecordingAlerts : public Alerts {
  public:
    void show(const QString& title, const QString& text, Style) override {
        shown.emplace_back(title, text);
    }
    std::vector<std::pair<QString, QString>> shown;
};

}  // namespace talvo
