// Stands in for "another application" in the X11 integration test and the
// popup benchmark.
//
//   talvo_test_target window TEXT primary   a window whose line edit has TEXT
//                                           selected and owns PRIMARY
//   talvo_test_target window TEXT copy      a window that owns no selection and
//                                           copies TEXT to CLIPBOARD on Ctrl+C
//   talvo_test_target window TEXT none      "talvo-test-quiet": owns no selection
//                                           and has nothing to copy
//   talvo_test_target own-clipboard         owns CLIPBOARD with three formats
//                                           (text/plain, text/html, binary)
//   talvo_test_target grab-alt-d            holds Alt+D as a global shortcut,
//                                           as another program might
//   talvo_test_target page TEXT             "talvo-test-page": TEXT printed
//                                           large, black on white, at a fixed
//                                           place, for reading off the screen
//
// Each prints "ready" once it owns what it should. Keys it receives are
// printed, so a test can see what reached it.
#include <xcb/xcb.h>
#include <QApplication>
#include <QClipboard>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QTimer>
#include <QVBoxLayout>
#include <QWidget>

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

class Target : public QWidget {
  public:
    enum class Mode { primary, copy, none };

    Target(const QString& text, Mode mode)
        : m_text(text), m_copyOnly(mode != Mode::primary), m_copies(mode == Mode::copy) {
        setWindowTitle(mode == Mode::none ? QStringLiteral("talvo-test-quiet")
                                          : QStringLiteral("talvo-test-target"));
        auto* layout = new QVBoxLayout(this);
        m_edit = new QLineEdit(text);
        QFont f = m_edit->font();
        f.setPixelSize(28);
        m_edit->setFont(f);
        m_edit->setReadOnly(m_copyOnly);
        layout->addWidget(m_edit);
        resize(360, 90);
        move(60, 80);
        m_edit->installEventFilter(this);
    }

    void ready() {
        m_edit->setFocus();
        if (m_copyOnly && !m_copies) {
            m_edit->deselect();  // nothing selected: its Ctrl+C copies nothing
        } else {
            m_edit->selectAll();
        }
        QClipboard* c = QGuiApplication::clipboard();
        if (m_copyOnly) {
            c->clear(QClipboard::Selection);
        } else {
            c->setText(m_text, QClipboard::Selection);
        }
        std::printf("ready\n");
        std::fflush(stdout);
    }

  protected:
    bool eventFilter(QObject*, QEvent* e) override {
        if (e->type() != QEvent::KeyPress) {
            return false;
        }
        auto* k = static_cast<QKeyEvent*>(e);
        std::printf("key %s mods %d\n", qPrintable(QKeySequence(k->key()).toString()),
                    static_cast<int>(k->modifiers()));
        std::fflush(stdout);
        bool copy = k->key() == Qt::Key_C && (k->modifiers() & Qt::ControlModifier);
        if (copy && m_copies) {
            QGuiApplication::clipboard()->setText(m_text, QClipboard::Clipboard);
            std::printf("copied\n");
            std::fflush(stdout);
            return true;
        }
        return false;
    }

  private:
    QString m_text;
    bool m_copyOnly;
    bool m_copies;
    QLineEdit* m_edit = nullptr;
};

}  // namespace

// Alt+D on the root window (D is evdev 32, X key code 40), with and
// without Num Lock; prints "grabbed" at each press it takes.
int grabAltD() {
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(c)) {
        return 1;
    }
    xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    for (uint16_t lock : {uint16_t{0}, uint16_t{XCB_MOD_MASK_2}}) {
        xcb_grab_key(c, 1, root, XCB_MOD_MASK_1 | lock, 40, XCB_GRAB_MODE_ASYNC,
                     XCB_GRAB_MODE_ASYNC);
    }
    xcb_flush(c);
    std::printf("ready\n");
    std::fflush(stdout);
    while (xcb_generic_event_t* e = xcb_wait_for_event(c)) {
        if ((e->response_type & 0x7f) == XCB_KEY_PRESS) {
            std::printf("grabbed\n");
            std::fflush(stdout);
        }
        std::free(e);
    }
    return 0;
}

int main(int argc, char** argv) {
    if (argc >= 2 && std::string_view(argv[1]) == "grab-alt-d") {
        return grabAltD();
    }
    QApplication app(argc, argv);
    QStringList args = QCoreApplication::arguments();
    if (args.size() >= 2 && args[1] == QLatin1String("own-clipboard")) {
        auto* data = new QMimeData;
        data->setData(QStringLiteral("text/plain"), "the user's clipboard");
        data->setData(QStringLiteral("text/html"), "<b>the user's</b> clipboard");
        data->setData(QStringLiteral("application/x-talvo-test"),
                      QByteArray("\x00\x01\x02\xff", 4));
        QGuiApplication::clipboard()->setMimeData(data, QClipboard::Clipboard);
        std::printf("ready\n");
        std::fflush(stdout);
        return QApplication::exec();
    }
    if (args.size() >= 3 && args[1] == QLatin1String("page")) {
        // A printed page: a serif CJK face, large, with room around the text.
        QLabel page(args[2]);
        page.setWindowTitle(QStringLiteral("talvo-test-page"));
        QFont f;
        f.setFamilies({QStringLiteral("Noto Serif CJK TC"), QStringLiteral("Noto Serif CJK SC")});
        f.setPixelSize(64);
        page.setFont(f);
        page.setStyleSheet(QStringLiteral("background: white; color: black;"));
        page.setAlignment(Qt::AlignCenter);
        page.setGeometry(100, 160, 640, 320);
        page.show();
        QTimer::singleShot(100, &page, [] {
            std::printf("ready\n");
            std::fflush(stdout);
        });
        return QApplication::exec();
    }
    if (args.size() < 4 || args[1] != QLatin1String("window")) {
        std::fprintf(stderr,
                     "usage: talvo_test_target window TEXT primary|copy|none | own-clipboard\n");
        return 2;
    }
    const Target::Mode mode = args[3] == QLatin1String("copy")   ? Target::Mode::copy
                              : args[3] == QLatin1String("none") ? Target::Mode::none
                                                                 : Target::Mode::primary;
    Target target(args[2], mode);
    target.show();
    target.activateWindow();
    QTimer::singleShot(100, &target, [&target] { target.ready(); });
    return QApplication::exec();
}
