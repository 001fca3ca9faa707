#include "settings/SettingsKey.h"
#include "widgets/MessageBox.h"

#include <QApplication>
#include <QTemporaryDir>

#include <gtest/gtest.h>

// Widget tests need one QApplication for the whole run, without a display. Settings go to a
// directory of their own, never the user's.
int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    QTemporaryDir config;
    CSettingsKey::SetConfigDirectory(config.path().toStdString());
    SetMessageSink([](const CMessage &m) {
        ADD_FAILURE() << "unexpected message box: " << m.caption.toStdString() << ": "
                      << m.text.toStdString();
    });
    return RUN_ALL_TESTS();
}
