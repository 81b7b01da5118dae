// talvo-assets icons OUTDIR APPID   the hicolor icon set: OUTDIR/hicolor/<n>x<n>/apps/APPID.png
//                                   and OUTDIR/hicolor/scalable/apps/APPID.svg
// talvo-assets credits SHAREDIR OUT the credits of SHAREDIR's dict.sqlite and strokes/
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFontMetricsF>
#include <QImage>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "app/shell/dictionary_credits.h"
#include "app/theme/theme.h"
#include "app/tray/tray_glyph.h"
#include "tools/assets/credits_text.h"
#include "tools/assets/icon_svg.h"

namespace {

int fail(const QString& message) {
    std::fprintf(stderr, "talvo-assets: %s\n", message.toUtf8().constData());
    return 1;
}

bool writeFile(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size();
}

int icons(const QString& outDir, const QString& appId) {
    // The same face the tray draws with; without a CJK font the icon would be
    // an empty box, so that is an error rather than a silent fallback.
    QFont font = talvo::theme::hanFont(204);  // 0.8 of 256, as the tray glyph
    font.setBold(true);
    if (!QFontMetricsF(font).inFontUcs4(0x58A8)) {
        return fail(QStringLiteral("no installed font has the glyph 墨 (install fonts-noto-cjk)"));
    }
    for (int size : {16, 22, 24, 32, 48, 64, 128, 256}) {
        QString path =
            QStringLiteral("%1/hicolor/%2x%2/apps/%3.png").arg(outDir).arg(size).arg(appId);
        QDir().mkpath(QFileInfo(path).absolutePath());
        if (!talvo::trayGlyphImage(size).save(path, "PNG")) {
            return fail(QStringLiteral("cannot write %1").arg(path));
        }
    }
    QString svg = talvo::glyphIconSvg(font);
    QString path = QStringLiteral("%1/hicolor/scalable/apps/%2.svg").arg(outDir, appId);
    if (svg.isEmpty() || !writeFile(path, svg.toUtf8())) {
        return fail(QStringLiteral("cannot write %1").arg(path));
    }
    return 0;
}

int credits(const QString& shareDir, const QString& out) {
    std::filesystem::path share(shareDir.toStdString());
    std::error_code ec;
    if (!std::filesystem::is_regular_file(share / "dict.sqlite", ec)) {
        return fail(QStringLiteral("no dict.sqlite in %1").arg(shareDir));
    }
    auto sources = talvo::dictionaryCredits((share / "dict.sqlite").string());
    bool strokes = std::filesystem::is_regular_file(share / "strokes" / "LICENSE-ARPHIC.txt", ec);
    if (!writeFile(out, QByteArray::fromStdString(talvo::creditsText(sources, strokes)))) {
        return fail(QStringLiteral("cannot write %1").arg(out));
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    // Runs at build time, where there may be no display.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication app(argc, argv);
    QStringList args = QCoreApplication::arguments();
    if (args.size() == 4 && args[1] == QLatin1String("icons")) {
        return icons(args[2], args[3]);
    }
    if (args.size() == 4 && args[1] == QLatin1String("credits")) {
        return credits(args[2], args[3]);
    }
    std::fprintf(stderr, "usage: talvo-assets icons OUTDIR APPID | credits SHAREDIR OUT\n");
    return 2;
}
