#pragma once

#include "settings/DataDirectory.h"
#include "settings/SettingsKey.h"
#include "widgets/MessageBox.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <functional>
#include <gtest/gtest.h>
#include <vector>

/// A fresh settings and data directory for one test, and the message boxes it raised instead of
/// showing them.
class CUiTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_config.isValid());
        CSettingsKey::SetConfigDirectory(m_config.path().toStdString());
        // An empty waypoint database: a frame without one reports it.
        ASSERT_TRUE(m_data.isValid());
        SetDataDirectory(m_data.path());
        QFile database(m_data.filePath(QStringLiteral("Waypoints.wdb")));
        ASSERT_TRUE(database.open(QIODevice::WriteOnly));
        database.write(QByteArray(2, '\0'));
        SetMessageSink([this](const CMessage &m) { m_messages.push_back(m); });
    }
    void TearDown() override
    {
        SetMessageSink([](const CMessage &m) {
            ADD_FAILURE() << "unexpected message box: " << m.text.toStdString();
        });
    }

    /// Runs the event loop until `done` holds or `timeoutMs` passed; returns `done()`.
    static bool ProcessUntil(const std::function<bool()> &done, int timeoutMs = 3000)
    {
        QElapsedTimer timer;
        timer.start();
        while (!done() && timer.elapsed() < timeoutMs)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        return done();
    }

    QTemporaryDir m_config;
    QTemporaryDir m_data;
    std::vector<CMessage> m_messages;
};
