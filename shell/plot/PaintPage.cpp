// SPDX-License-Identifier: Apache-2.0
#include "plot/PaintPage.hpp"

#include "base/Failure.hpp"

#include <QBuffer>
#include <QGuiApplication>
#include <QImage>
#include <QScreen>
#include <QSvgGenerator>

namespace corvane {
namespace {

constexpr int DotsPerMetre = 10000; // a page of 1600 pixels is as wide as the text of a sheet of A4

QByteArray paintPng(const QSize& size, const std::function<void(QPainter&)>& paint) {
    QImage image(size, QImage::Format_RGB32);
    QPainter painter(&image);
    paint(painter);
    painter.end();
    image.setDotsPerMeterX(DotsPerMetre);
    image.setDotsPerMeterY(DotsPerMetre);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    if (!image.save(&buffer, "PNG")) throw Failure("The picture cannot be drawn: making the PNG failed.");
    return bytes;
}

QByteArray paintSvg(const QSize& size, const QString& title, const std::function<void(QPainter&)>& paint) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    QSvgGenerator generator;
    generator.setOutputDevice(&buffer);
    generator.setTitle(title.toHtmlEscaped());
    generator.setResolution(qRound(QGuiApplication::primaryScreen()->logicalDotsPerInch()));
    generator.setSize(size);
    generator.setViewBox(QRect({}, size));
    QPainter painter(&generator);
    paint(painter);
    painter.end();
    // Who has not this font gets one of its kind.
    return bytes.replace("font-family=\"DejaVu Sans\"", "font-family=\"DejaVu Sans, sans-serif\"");
}

} // namespace

QFont plotFont(int pixels, bool bold) {
    QFont font("DejaVu Sans");
    font.setStyleHint(QFont::SansSerif);
    font.setPixelSize(pixels);
    font.setBold(bold);
    font.setHintingPreference(QFont::PreferNoHinting); // widths are those of the printed text
    return font;
}

QString plotText(const std::string& text) {
    QString line = QString::fromStdString(text).simplified();
    for (QChar& c : line)
        if (c.category() == QChar::Other_Control || c.isNonCharacter()) c = QChar::ReplacementCharacter;
    return line;
}

std::string paintPage(const QSize& size, const QString& title, PictureFormat format,
                      const std::function<void(QPainter&)>& paint) {
    const auto onWhite = [&](QPainter& painter) {
        painter.setRenderHint(QPainter::TextAntialiasing);
        painter.fillRect(QRect({}, size), Qt::white);
        paint(painter);
    };
    return (format == PictureFormat::Svg ? paintSvg(size, title, onWhite) : paintPng(size, onWhite)).toStdString();
}

} // namespace corvane
