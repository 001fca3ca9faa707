#include "UiTestUtils.h"
#include "widgets/FileSelector.h"

#include <QDateTime>
#include <QDialogButtonBox>
#include <QDir>
#include <QPushButton>
#include <QTreeWidget>

namespace
{

struct SFile {
    QString name;
    qint64 size;
    QDate modified;
};

// Sizes beyond 999 catch digit grouping; distinct dates catch a row showing another's date.
const SFile kFiles[] = {
    {"a.nmea", 4, {2021, 3, 4}},          {"b.txt", 0, {2019, 12, 31}},
    {"track.NMEA", 123456, {2020, 7, 1}}, {".hidden", 1, {2022, 1, 2}},
    {"sub1/c.nmea", 2, {2023, 5, 6}},
};

class FileSelectorTest : public CUiTest
{
protected:
    void SetUp() override
    {
        CUiTest::SetUp();
        ASSERT_TRUE(QDir(m_dir.path()).mkpath("sub1/nested"));
        ASSERT_TRUE(QDir(m_dir.path()).mkpath("sub2/inner"));
        ASSERT_TRUE(QFile::link(m_dir.path(), Path("sub1/loop")));
        for (const SFile &f : kFiles) {
            QFile file(Path(f.name));
            ASSERT_TRUE(file.open(QIODevice::WriteOnly));
            file.write(QByteArray(f.size, 'x'));
            file.flush(); // else closing would stamp the time again
            ASSERT_TRUE(file.setFileTime(QDateTime(f.modified, QTime(12, 0)),
                                         QFileDevice::FileModificationTime));
        }
    }

    QString Path(const QString &relative) const { return m_dir.path() + '/' + relative; }
    static QTreeWidget *Tree(CFileSelector &s) { return s.findChild<QTreeWidget *>("folderTree"); }
    static QTreeWidget *Files(CFileSelector &s) { return s.findChild<QTreeWidget *>("fileList"); }
    static QStringList Names(QTreeWidgetItem *parent)
    {
        QStringList names;
        for (int i = 0; i < parent->childCount(); ++i)
            names << parent->child(i)->text(0);
        return names;
    }
    static void Select(CFileSelector &s, const QString &name)
    {
        Files(s)->setCurrentItem(Files(s)->findItems(name, Qt::MatchExactly).value(0));
    }

    QTemporaryDir m_dir;
    CFileSelector m_selector;
};

// Only the folders along the way are read; an expansion shows subfolders, never files.
TEST_F(FileSelectorTest, TreeIsReadLazily)
{
    ASSERT_EQ(Tree(m_selector)->topLevelItemCount(), 1);
    QTreeWidgetItem *root = Tree(m_selector)->topLevelItem(0);
    EXPECT_FALSE(CFileSelector::DeviceName().isEmpty());
    EXPECT_EQ(root->text(0), CFileSelector::DeviceName());

    const struct {
        const char *folder;
        QStringList children;
    } cases[] = {
        {"", {"sub1", "sub2"}},
        {"sub1", {"loop", "nested"}},
        {"sub1/loop/sub1/loop", {"sub1", "sub2"}},
        {"sub2/inner", {}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.folder);
        m_selector.SetStartFolder(Path(c.folder));
        EXPECT_EQ(m_selector.GetFolder(), QDir::cleanPath(Path(c.folder)) + '/');
        QTreeWidgetItem *item = Tree(m_selector)->currentItem();
        EXPECT_EQ(item->childCount(), 0);
        Tree(m_selector)->expandItem(item);
        EXPECT_EQ(Names(item), c.children);
        EXPECT_EQ(item->childIndicatorPolicy() == QTreeWidgetItem::ShowIndicator,
                  !c.children.isEmpty());
    }
    int read = 0; // of the folders in "/", only the one on the way to the temporary folder
    for (int i = 0; i < root->childCount(); ++i)
        read += root->child(i)->childCount() > 0 ? 1 : 0;
    EXPECT_EQ(read, 1);
}

TEST_F(FileSelectorTest, PatternChoosesTheRows)
{
    const QTreeWidgetItem *header = Files(m_selector)->headerItem();
    EXPECT_EQ(QStringList({header->text(0), header->text(1), header->text(2)}),
              QStringList({"Name", "Date", "Size"}));
    const struct {
        const char *folder;
        const char *pattern;
        QStringList names;
    } cases[] = {
        {"", "*", {".hidden", "a.nmea", "b.txt", "track.NMEA"}},
        {"", "*.nmea", {"a.nmea"}},
        {"", "*.NMEA", {"track.NMEA"}},
        {"", "[ab].*", {"a.nmea", "b.txt"}},
        {"", "*.gpx", {}},
        {"sub1", "*.nmea", {"c.nmea"}},
        {"sub2", "*", {}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.folder) + " " + c.pattern);
        m_selector.SetStartFolder(Path(c.folder));
        m_selector.SetPattern(c.pattern);
        QTreeWidgetItem *rows = Files(m_selector)->invisibleRootItem();
        ASSERT_EQ(Names(rows), c.names);
        for (int i = 0; i < rows->childCount(); ++i) {
            for (const SFile &f : kFiles) {
                if (QFileInfo(f.name).fileName() != rows->child(i)->text(0))
                    continue;
                EXPECT_EQ(rows->child(i)->text(1),
                          QLocale::system().toString(f.modified, QLocale::ShortFormat));
                EXPECT_EQ(rows->child(i)->text(2), QString::number(f.size));
            }
        }
    }
}

TEST_F(FileSelectorTest, ChosenRowGivesThePath)
{
    m_selector.SetStartFolder(m_dir.path());
    QPushButton *ok = m_selector.findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok);
    EXPECT_FALSE(ok->isEnabled());
    Select(m_selector, "a.nmea");
    EXPECT_TRUE(ok->isEnabled());
    m_selector.accept();
    EXPECT_EQ(m_selector.GetFolder(), m_dir.path() + '/');
    EXPECT_EQ(m_selector.GetPath(), Path("a.nmea"));

    // A name from another folder must not survive the change.
    m_selector.SetStartFolder(Path("sub2"));
    EXPECT_EQ(m_selector.GetPath(), "");
    EXPECT_FALSE(ok->isEnabled());

    CFileSelector other;
    other.SetStartFolder(m_dir.path());
    emit Files(other)->itemDoubleClicked(Files(other)->findItems("b.txt", Qt::MatchExactly)[0], 0);
    EXPECT_EQ(other.result(), QDialog::Accepted);
    EXPECT_EQ(other.GetPath(), Path("b.txt"));
}

} // namespace
