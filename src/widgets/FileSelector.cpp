#include "widgets/FileSelector.h"

#include <QDateTime>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileInfo>
#include <QHeaderView>
#include <QPushButton>
#include <QSplitter>
#include <QStyle>
#include <QSysInfo>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <fnmatch.h>

namespace
{

constexpr int kPathRole = Qt::UserRole;
constexpr int kFilledRole = Qt::UserRole + 1;

enum Column { kName, kDate, kSize };

QTreeWidgetItem *MakeFolderItem(const QString &label, const QString &path, const QIcon &icon)
{
    auto *item = new QTreeWidgetItem(QStringList{label});
    item->setIcon(0, icon);
    item->setData(0, kPathRole, path);
    // Whether it has subfolders is only learnt by reading it, which waits for the expansion.
    item->setChildIndicatorPolicy(QTreeWidgetItem::ShowIndicator);
    return item;
}

} // namespace

CFileSelector::CFileSelector(QWidget *parent)
    : QDialog(parent)
    , m_tree(new QTreeWidget)
    , m_files(new QTreeWidget)
    , m_buttons(new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel))
    , m_closedIcon(style()->standardIcon(QStyle::SP_DirClosedIcon))
    , m_openIcon(style()->standardIcon(QStyle::SP_DirOpenIcon))
    , m_fileIcon(style()->standardIcon(QStyle::SP_FileIcon))
    , m_locale(QLocale::system())
{
    setWindowTitle(tr("File Open"));

    m_tree->setObjectName(QStringLiteral("folderTree"));
    m_tree->setHeaderHidden(true);
    m_tree->setUniformRowHeights(true);
    m_tree->setSelectionMode(QAbstractItemView::SingleSelection);
    // Deep folders scroll sideways instead of being cut off.
    m_tree->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_tree->header()->setStretchLastSection(false);
    m_tree->addTopLevelItem(MakeFolderItem(DeviceName(), QStringLiteral("/"), m_closedIcon));

    m_files->setObjectName(QStringLiteral("fileList"));
    m_files->setHeaderLabels({tr("Name"), tr("Date"), tr("Size")});
    m_files->setRootIsDecorated(false);
    m_files->setUniformRowHeights(true);
    m_files->setAllColumnsShowFocus(true);
    m_files->setSelectionMode(QAbstractItemView::SingleSelection);
    m_files->header()->setSectionResizeMode(kDate, QHeaderView::ResizeToContents);
    m_files->header()->setSectionResizeMode(kSize, QHeaderView::ResizeToContents);
    m_files->header()->setSectionResizeMode(kName, QHeaderView::Stretch);
    m_files->header()->setStretchLastSection(false);

    auto *splitter = new QSplitter(Qt::Horizontal);
    splitter->addWidget(m_tree);
    splitter->addWidget(m_files);
    splitter->setStretchFactor(1, 1);
    splitter->setSizes({220, 340});

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(splitter);
    layout->addWidget(m_buttons);
    m_buttons->button(QDialogButtonBox::Ok)->setEnabled(false);
    resize(560, 420);

    connect(m_tree, &QTreeWidget::itemExpanded, this, &CFileSelector::FillFolder);
    connect(m_tree, &QTreeWidget::itemSelectionChanged, this, &CFileSelector::OnFolderSelected);
    connect(m_files, &QTreeWidget::itemSelectionChanged, this, &CFileSelector::OnFileSelected);
    connect(m_files, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem *item) {
        m_fileName = item->text(kName);
        accept();
    });
    connect(m_buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(m_buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

void CFileSelector::SetPattern(const QString &pattern)
{
    m_pattern = pattern.isEmpty() ? QStringLiteral("*") : pattern;
    FillFileList();
}

void CFileSelector::SetStartFolder(const QString &folder)
{
    const QString path = QDir::cleanPath(QFileInfo(folder).absoluteFilePath());
    QTreeWidgetItem *item = m_tree->topLevelItem(0);
    for (const QString &part : path.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        FillFolder(item);
        QTreeWidgetItem *next = nullptr;
        for (int i = 0; i < item->childCount() && !next; ++i) {
            if (item->child(i)->text(0) == part)
                next = item->child(i);
        }
        if (!next)
            break;
        m_tree->expandItem(item);
        item = next;
    }
    m_tree->setCurrentItem(item);
    m_tree->scrollToItem(item);
}

QString CFileSelector::GetPath() const
{
    if (m_folder.isEmpty() || m_fileName.isEmpty())
        return {};
    return m_folder + m_fileName;
}

QString CFileSelector::DeviceName()
{
    const QString host = QSysInfo::machineHostName();
    return host.isEmpty() ? QStringLiteral("My Device") : host;
}

void CFileSelector::FillFolder(QTreeWidgetItem *item)
{
    if (item->data(0, kFilledRole).toBool())
        return;
    item->setData(0, kFilledRole, true);

    // Hidden and symlinked folders are listed too; a link loop only grows as far as the user
    // expands it.
    const QString path = item->data(0, kPathRole).toString();
    const QStringList names =
        QDir(path).entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name);
    QList<QTreeWidgetItem *> children;
    children.reserve(names.size());
    for (const QString &name : names)
        children.append(MakeFolderItem(name, path + name + QLatin1Char('/'), m_closedIcon));
    item->addChildren(children);
    if (children.isEmpty())
        item->setChildIndicatorPolicy(QTreeWidgetItem::DontShowIndicator);
}

void CFileSelector::FillFileList()
{
    m_fileName.clear();
    m_buttons->button(QDialogButtonBox::Ok)->setEnabled(false);
    m_files->setUpdatesEnabled(false);
    m_files->clear();
    if (!m_folder.isEmpty()) {
        const QByteArray pattern = QFile::encodeName(m_pattern);
        // Regular files only: a fifo or device picked here would block whoever opens it.
        const QFileInfoList entries =
            QDir(m_folder).entryInfoList(QDir::Files | QDir::Hidden, QDir::Name);
        QList<QTreeWidgetItem *> rows;
        for (const QFileInfo &entry : entries) {
            if (fnmatch(pattern.constData(), QFile::encodeName(entry.fileName()).constData(), 0)
                != 0)
                continue;
            auto *row = new QTreeWidgetItem(
                QStringList{entry.fileName(),
                            m_locale.toString(entry.lastModified().date(), QLocale::ShortFormat),
                            QString::number(entry.size())});
            row->setIcon(kName, m_fileIcon);
            row->setTextAlignment(kSize, Qt::AlignRight | Qt::AlignVCenter);
            rows.append(row);
        }
        m_files->addTopLevelItems(rows);
    }
    m_files->setUpdatesEnabled(true);
}

void CFileSelector::OnFolderSelected()
{
    const QList<QTreeWidgetItem *> selected = m_tree->selectedItems();
    if (m_openItem)
        m_openItem->setIcon(0, m_closedIcon);
    m_openItem = selected.isEmpty() ? nullptr : selected.first();
    if (m_openItem)
        m_openItem->setIcon(0, m_openIcon);
    m_folder = m_openItem ? m_openItem->data(0, kPathRole).toString() : QString();
    FillFileList();
}

void CFileSelector::OnFileSelected()
{
    const QList<QTreeWidgetItem *> selected = m_files->selectedItems();
    m_fileName = selected.isEmpty() ? QString() : selected.first()->text(kName);
    m_buttons->button(QDialogButtonBox::Ok)->setEnabled(!m_fileName.isEmpty());
}
