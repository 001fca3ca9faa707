#pragma once

#include "base/Mnemonic.h"

#include <QApplication>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPushButton>
#include <QTreeWidget>

#include <stdexcept>
#include <string>

// A dialog's children by their object names, and a finger on its list.
struct CDialogForm {
    QWidget &d;

    template <class T = QLineEdit> T &Get(const char *name) const
    {
        if (T *child = d.findChild<T *>(name))
            return *child;
        throw std::runtime_error(std::string("no child ") + name);
    }
    QString Text(const char *name) const { return Get(name).text(); }
    QString Choice(const char *name) const { return Get<QComboBox>(name).currentText(); }
    void Type(const char *name, const QString &text) const { Get(name).setText(text); }
    void Click(const char *name) const { Get<QPushButton>(name).click(); }
    bool Enabled(const char *name) const { return Get<QPushButton>(name).isEnabled(); }
    QTreeWidget &List() const { return *d.findChild<QTreeWidget *>(); }
    QStringList Column(int column) const
    {
        QStringList texts;
        for (int row = 0; row < List().topLevelItemCount(); ++row)
            texts << List().topLevelItem(row)->text(column);
        return texts;
    }
    QStringList VisibleLabels() const
    {
        QStringList texts;
        for (const QLabel *label : d.findChildren<QLabel *>())
            if (label->isVisibleTo(&d))
                texts << QString::fromStdString(StripMnemonic(label->text().toStdString()));
        return texts;
    }
    QString Shown(int row, int column = 0) const { return List().topLevelItem(row)->text(column); }
    void Select(int row) const { List().setCurrentItem(List().topLevelItem(row)); }

    // A tap (or with `twice` a double tap) on a row, or on a column's header, of a shown list.
    void TapRow(int row, bool twice = false) const
    {
        Tap(*List().viewport(), List().visualItemRect(List().topLevelItem(row)).center(), twice);
    }
    void TapHeader(int column) const
    {
        QHeaderView &header = *List().header();
        Tap(*header.viewport(), {header.sectionViewportPosition(column) + 5, header.height() / 2});
    }
    static void Tap(QWidget &widget, QPoint at, bool twice = false)
    {
        for (const QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease,
                                        QEvent::MouseButtonDblClick, QEvent::MouseButtonRelease}) {
            if (type == QEvent::MouseButtonDblClick && !twice)
                break;
            const bool down = type != QEvent::MouseButtonRelease;
            QMouseEvent event(type, at, widget.mapToGlobal(at), Qt::LeftButton,
                              down ? Qt::LeftButton : Qt::NoButton, Qt::NoModifier);
            QApplication::sendEvent(&widget, &event);
        }
    }
};
