#pragma once

#include <QWidget>
#include <cstdint>
#include <vector>

class QLabel;
class QPushButton;
class QStackedWidget;
class QVBoxLayout;

namespace talvo {

class LessonsViewModel;

// The lessons window: a header line, then either the list of lessons (one
// card each: title, Hán label, item count, how many are in the deck, and the
// add button or the complete mark), or the state that stands in for it while
// the list is empty: loading, failed with a retry button, or no lessons.
// A load that fails or runs while a list is shown keeps the list and shows a
// line above it. Borrows the model; main thread only.
class LessonsView : public QWidget {
    Q_OBJECT
  public:
    static constexpr const char* kHeader =
        "Bộ chữ biên tập sẵn. Thêm vào để ôn theo lịch FSRS cùng bộ tần suất.";
    static constexpr const char* kLoading = "Đang tải lộ trình…";
    static constexpr const char* kEmpty = "Chưa có lộ trình";
    static constexpr const char* kFailed = "Không tải được lộ trình.";
    static constexpr const char* kFailedHint =
        "Kiểm tra kết nối mạng và địa chỉ máy chủ trong Cài đặt, rồi thử lại.";
    static constexpr const char* kRetry = "Thử lại";
    static constexpr const char* kAdd = "Thêm vào ôn tập";
    static constexpr const char* kAddMissing = "Thêm thẻ còn thiếu";
    static constexpr const char* kComplete = "✓ Đã có đủ trong bộ ôn";

    explicit LessonsView(LessonsViewModel& model, QWidget* parent = nullptr);
    ~LessonsView() override;

    // Redraws from the model. The rows are rebuilt only when a load has
    // brought a new list; otherwise they are updated in place, so a row's
    // own button may trigger this.
    void refresh();

  private:
    struct Row {
        QLabel* counts = nullptr;
        QPushButton* add = nullptr;
        QLabel* complete = nullptr;
    };

    void rebuildRows();
    void updateRows();

    LessonsViewModel& m_model;
    QStackedWidget* m_pages = nullptr;
    QWidget* m_busyPage = nullptr;
    QWidget* m_failedPage = nullptr;
    QWidget* m_emptyPage = nullptr;
    QWidget* m_listPage = nullptr;
    QLabel* m_failedDetail = nullptr;
    QWidget* m_banner = nullptr;
    QLabel* m_bannerText = nullptr;
    QPushButton* m_bannerRetry = nullptr;
    QVBoxLayout* m_list = nullptr;
    QWidget* m_listContent = nullptr;
    std::vector<Row> m_rows;
    bool m_wasLoading = false;
};

}  // namespace talvo
