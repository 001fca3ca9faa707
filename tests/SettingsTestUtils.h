#pragma once

#include "settings/SettingsKey.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

/// Tests of the settings file: each case in a directory of its own.
struct SettingsFileTest : ::testing::Test {
    static QString File() { return QString::fromStdString(CSettingsKey::GetSettingsFile()); }
    // A settings directory of its own, with `bytes` as the file unless empty. QSettings keeps one
    // parsed copy of a file per path inside a process; a file at a new path is read from the disk.
    void Start(const char *directory, const QByteArray &bytes)
    {
        CSettingsKey::SetConfigDirectory(m_dir.filePath(directory).toStdString());
        QFile file(File());
        ASSERT_TRUE(bytes.isEmpty() || (file.open(QIODevice::WriteOnly) && file.write(bytes) > 0));
    }

    QTemporaryDir m_dir;
};
