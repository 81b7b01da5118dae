#include "app/stroke/stroke_order_factory.h"

#include <QPointer>

#include "app/stroke/stroke_order_view.h"

namespace talvo {

StrokeOrderFactory::StrokeOrderFactory(std::string strokesDir,
                                       std::function<std::string()> contentBase,
                                       stroke::StrokeSource::Fetch fetch, double side)
    : m_source(std::make_shared<stroke::StrokeSource>(std::move(strokesDir), std::move(contentBase),
                                                      std::move(fetch))),
      m_side(side) {}

QWidget* StrokeOrderFactory::make(const std::string& ch, QWidget* parent) const {
    return makeView(ch, m_side, parent);
}

StrokeOrderView* StrokeOrderFactory::makeView(const std::string& ch, double side,
                                              QWidget* parent) const {
    if (!stroke::isSingleHan(ch)) {
        return nullptr;
    }
    auto* view = new StrokeOrderView(QString::fromStdString(ch), side, parent);
    QPointer<StrokeOrderView> alive(view);
    m_source->load(ch, [alive](std::shared_ptr<const stroke::StrokeData> data) {
        if (alive) {
            alive->setData(std::move(data));
        }
    });
    return view;
}

std::function<QWidget*(const std::string& ch, QWidget* parent)> StrokeOrderFactory::hook() const {
    return hook(m_side);
}

std::function<QWidget*(const std::string& ch, QWidget* parent)> StrokeOrderFactory::hook(
    double side) const {
    StrokeOrderFactory self = *this;
    return [self, side](const std::string& ch, QWidget* parent) -> QWidget* {
        return self.makeView(ch, side, parent);
    };
}

}  // namespace talvo
