#pragma once

#include <QObject>
#include <cstdint>
#include <functional>
#include <memory>

class QWidget;

namespace talvo {

class LessonsService;
class LessonsView;
class LessonsViewModel;
class StudyStore;

// Owns the lessons window and its model. Every show() fetches the list again
// (nothing is kept on disk); adding a lesson writes its missing cards to the
// shared store and reports through onChange. Main thread only; borrows the
// store and the service, which must outlive the controller.
class LessonsWindowController : public QObject {
    Q_OBJECT
  public:
    LessonsWindowController(StudyStore& store, LessonsService& service, QObject* parent = nullptr);
    ~LessonsWindowController() override;

    // Creates the window on first use, brings it to the front and starts a
    // load (a load already under way is left to finish).
    void show();

    // After a lesson was added, with the number of cards it added (0 when
    // all were there already): the application refreshes the status menu's
    // badge and reloads the study session.
    std::function<void(int64_t added)> onChange;

    // Null before the first show().
    QWidget* window() const;
    LessonsViewModel* model() const { return m_model.get(); }

  private:
    StudyStore& m_store;
    LessonsService& m_service;
    std::unique_ptr<LessonsViewModel> m_model;
    std::unique_ptr<LessonsView> m_view;
};

}  // namespace talvo
