// veloran-icon-gen: renders the application icon as PNG files in the hicolor layout,
//
//   veloran-icon-gen OUTPUT-FOLDER SIZE...   ->  OUTPUT-FOLDER/<n>x<n>/apps/veloran.png
//
// for the sizes the build names. Needs no display: it runs on the offscreen platform.

#include "app/AppIcon.h"

#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>

#include <cstdio>
#include <cstdlib>

int main(int argc, char **argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: veloran-icon-gen OUTPUT-FOLDER SIZE...\n");
        return 2;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);

    const QString root = QString::fromLocal8Bit(argv[1]);
    for (int i = 2; i < argc; ++i) {
        const int size = std::atoi(argv[i]);
        if (size < 16 || size > 1024) {
            std::fprintf(stderr, "veloran-icon-gen: size %s is not 16 to 1024\n", argv[i]);
            return 2;
        }
        const QString dir = QStringLiteral("%1/%2x%2/apps").arg(root).arg(size);
        if (!QDir().mkpath(dir)) {
            std::fprintf(stderr, "veloran-icon-gen: cannot create %s\n", qPrintable(dir));
            return 1;
        }
        QImage image(size, size, QImage::Format_ARGB32);
        image.fill(Qt::transparent);
        {
            QPainter painter(&image);
            PaintAppIcon(painter, QRectF(0, 0, size, size));
        }
        const QString file = dir + QStringLiteral("/veloran.png");
        if (!image.save(file, "PNG")) {
            std::fprintf(stderr, "veloran-icon-gen: cannot write %s\n", qPrintable(file));
            return 1;
        }
    }
    return 0;
}
