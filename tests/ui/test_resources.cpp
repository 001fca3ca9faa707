#include "app/AboutDialog.h"
#include "app/CommandTable.h"
#include "app/HelpViewer.h"
#include "base/Mnemonic.h"
#include "receiver/FixSound.h"
#include "receiver/SystemClock.h"
#include "ui/UiTestUtils.h"

#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QLabel>
#include <QPushButton>
#include <QRegularExpression>
#include <QTextBrowser>
#include <QtEndian>

#include <memory>
#include <set>
#include <time.h>
#include <unistd.h>

TEST(ResourcesSounds, DistinctPcmWaves)
{
    QByteArray bytes[3];
    const char *names[3] = {":/sounds/fix-gained.wav", ":/sounds/fix-lost.wav",
                            ":/sounds/speed-alarm.wav"};
    for (int i = 0; i < 3; ++i) {
        QFile file(QString::fromLatin1(names[i]));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << names[i];
        bytes[i] = file.readAll();
        // RIFF size, "WAVE", a 16-byte PCM fmt chunk: what every player accepts.
        ASSERT_GT(bytes[i].size(), 44) << names[i];
        EXPECT_EQ(qFromLittleEndian<quint32>(bytes[i].constData() + 4), bytes[i].size() - 8);
        EXPECT_EQ(bytes[i].mid(8, 8), QByteArray("WAVEfmt "));
        EXPECT_EQ(qFromLittleEndian<quint16>(bytes[i].constData() + 20), 1) << "PCM";
    }
    EXPECT_NE(bytes[0], bytes[1]);
    EXPECT_NE(bytes[0], bytes[2]);
    EXPECT_NE(bytes[1], bytes[2]);
}

class ResourcesUi : public CUiTest
{
};

TEST_F(ResourcesUi, FixSoundWithoutDeviceNeitherBlocksNorComplains)
{
    QElapsedTimer timer;
    timer.start();
    auto sound = std::make_unique<CFixSound>();
    for (int i = 0; i < 3; ++i) {
        sound->Play(CFixSound::Kind::FixGained);
        sound->Play(CFixSound::Kind::FixLost);
        sound->Play(CFixSound::Kind::SpeedAlarm);
    }
    EXPECT_LT(timer.elapsed(), 1500);
    ProcessUntil([] { return false; }, 300);
    sound->Play(CFixSound::Kind::FixGained);
    sound.reset();
    EXPECT_TRUE(m_messages.empty());
}

TEST_F(ResourcesUi, AboutShowsNameVersionPictureAndReportsWebPageFailure)
{
    CAboutDialog about;
    EXPECT_EQ(about.windowTitle(), QStringLiteral("About Veloran"));
    QStringList texts;
    bool picture = false;
    for (const QLabel *label : about.findChildren<QLabel *>()) {
        texts << label->text();
        picture = picture || !label->pixmap().isNull();
    }
    EXPECT_TRUE(texts.contains(QStringLiteral("Veloran")));
    EXPECT_TRUE(texts.contains(QStringLiteral("Version " VELORAN_VERSION)));
    EXPECT_TRUE(picture);
    auto *web = about.findChild<QPushButton *>(QStringLiteral("webPageButton"));
    ASSERT_NE(web, nullptr);
    EXPECT_EQ(StripMnemonic(web->text().toStdString()), "Web page");

    if (QGuiApplication::platformName() != QLatin1String("offscreen"))
        GTEST_SKIP() << "would open a real browser";
    web->click(); // the offscreen platform cannot open URLs
    ASSERT_EQ(m_messages.size(), 1u);
    EXPECT_TRUE(m_messages[0].caption.isEmpty());
    EXPECT_EQ(m_messages[0].icon, QMessageBox::NoIcon);
    EXPECT_TRUE(m_messages[0].text == WebPageErrorText(2)
                || m_messages[0].text == WebPageErrorText(-1))
        << m_messages[0].text.toStdString();
}

TEST_F(ResourcesUi, HelpOpensOnceAtContentsAndNamesEveryCommand)
{
    CHelpViewer::ShowHelp(nullptr);
    CHelpViewer *viewer = CHelpViewer::Instance();
    ASSERT_NE(viewer, nullptr);
    EXPECT_TRUE(viewer->isVisible());
    EXPECT_EQ(viewer->windowTitle(), QStringLiteral("Veloran Help"));
    QTextBrowser *browser = viewer->Browser();
    EXPECT_EQ(browser->source(), QUrl(QStringLiteral("qrc:/help/Veloran.html#Main_Contents")));

    const QString text = browser->toPlainText();
    // Every menu text of the window, and what a Linux user needs to find.
    for (const CMenuEntry &entry : kMenuEntries) {
        if (entry.menu.empty() || entry.id == kCmdHelp || entry.id == kCmdAbout)
            continue;
        const QString command = QString::fromStdString(StripMnemonic(entry.text));
        EXPECT_TRUE(text.contains(command)) << entry.text;
    }
    for (const char *topic : {"Full Rate (<800KB/h)", "/dev/ttyUSB0", "dialout",
                              "--quit-after-replay", "VELORAN_CONFIG_DIR", "VELORAN_DATA_DIR"})
        EXPECT_TRUE(text.contains(QLatin1String(topic))) << topic;

    // In-page links stay in the viewer; web links must not replace the help page.
    emit browser->anchorClicked(QUrl(QStringLiteral("#logging")));
    EXPECT_EQ(browser->source().fragment(), QStringLiteral("logging"));
    emit browser->anchorClicked(QUrl(QStringLiteral("https://veloran.org/")));
    EXPECT_EQ(browser->source().fragment(), QStringLiteral("logging"));
    browser->home();
    EXPECT_EQ(browser->source().fragment(), QStringLiteral("Main_Contents"));

    CHelpViewer::ShowHelp(nullptr);
    EXPECT_EQ(CHelpViewer::Instance(), viewer) << "a second window was opened";
    viewer->close();
    EXPECT_TRUE(ProcessUntil([] { return CHelpViewer::Instance() == nullptr; }));
    EXPECT_TRUE(m_messages.empty());
}

TEST(ResourcesHelp, EveryInternalLinkHasItsAnchor)
{
    QFile file(QStringLiteral(":/help/Veloran.html"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QString html = QString::fromUtf8(file.readAll());
    std::set<QString> anchors;
    for (const auto &m : QRegularExpression(QStringLiteral("name=\"([^\"]+)\"")).globalMatch(html))
        anchors.insert(m.captured(1));
    ASSERT_TRUE(anchors.count(QStringLiteral("Main_Contents")));
    int links = 0;
    for (const auto &m :
         QRegularExpression(QStringLiteral("href=\"#([^\"]+)\"")).globalMatch(html)) {
        ++links;
        EXPECT_TRUE(anchors.count(m.captured(1))) << "broken link #" << m.captured(1).toStdString();
    }
    EXPECT_GT(links, 20);
    // Everything the help needs is inside it.
    EXPECT_FALSE(html.contains(QLatin1String("src=\"http")));
    EXPECT_FALSE(html.contains(QLatin1String("<link")));
}

class ResourcesClock : public CUiTest
{
protected:
    // A bus that cannot exist: the time service is never reached, whatever this machine runs,
    // so no authorisation prompt can appear during a test run.
    void SetUp() override
    {
        CUiTest::SetUp();
        m_savedBus = qgetenv("DBUS_SYSTEM_BUS_ADDRESS");
        m_hadBus = qEnvironmentVariableIsSet("DBUS_SYSTEM_BUS_ADDRESS");
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/veloran-test-bus");
    }
    void TearDown() override
    {
        if (m_hadBus)
            qputenv("DBUS_SYSTEM_BUS_ADDRESS", m_savedBus);
        else
            qunsetenv("DBUS_SYSTEM_BUS_ADDRESS");
        CUiTest::TearDown();
    }

    struct CResult {
        int calls = 0;
        bool ok = false;
        QString detail;
    };
    static SetClockDone Recorder(const std::shared_ptr<CResult> &result)
    {
        return [result](bool ok, QString detail) {
            ++result->calls;
            result->ok = ok;
            result->detail = std::move(detail);
        };
    }

    QByteArray m_savedBus;
    bool m_hadBus = false;
};

TEST_F(ResourcesClock, WithoutSystemBusFailsLaterWithReason)
{
    auto result = std::make_shared<CResult>();
    QObject context;
    SetSystemClockUtcViaTimeService(std::time(nullptr), &context, Recorder(result));
    EXPECT_EQ(result->calls, 0) << "reported inside the call";
    ASSERT_TRUE(ProcessUntil([&] { return result->calls > 0; }));
    EXPECT_FALSE(result->ok);
    EXPECT_FALSE(result->detail.isEmpty());
    ProcessUntil([] { return false; }, 100);
    EXPECT_EQ(result->calls, 1);
}

TEST_F(ResourcesClock, ResultIsDroppedWithItsContext)
{
    auto result = std::make_shared<CResult>();
    auto context = std::make_unique<QObject>();
    SetSystemClockUtcViaTimeService(std::time(nullptr), context.get(), Recorder(result));
    context.reset();
    ProcessUntil([] { return false; }, 200);
    EXPECT_EQ(result->calls, 0);
}

TEST_F(ResourcesClock, UnprivilegedRunFailsWithReason)
{
    if (geteuid() == 0)
        GTEST_SKIP() << "privileged: the call would set the real clock";
    auto result = std::make_shared<CResult>();
    QObject context;
    SetSystemClockUtc(std::time(nullptr), &context, Recorder(result));
    EXPECT_EQ(result->calls, 0) << "reported inside the call";
    ASSERT_TRUE(ProcessUntil([&] { return result->calls > 0; }));
    EXPECT_EQ(result->calls, 1);
    EXPECT_FALSE(result->ok);
    EXPECT_FALSE(result->detail.isEmpty());
}
