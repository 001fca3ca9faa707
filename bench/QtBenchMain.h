#pragma once

#include "settings/SettingsKey.h"
#include "widgets/MessageBox.h"

#include <QApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <cstdio>
#include <functional>

/// main() of a benchmark that needs a QApplication: offscreen unless a platform is set, settings
/// in a throwaway folder, message boxes on standard error. `cleanUp` runs before the
/// application goes (widgets must).
inline int RunQtBenchmarks(int argc, char **argv, const std::function<void()> &cleanUp = {})
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QTemporaryDir config;
    CSettingsKey::SetConfigDirectory(config.path().toStdString());
    SetMessageSink([](const CMessage &m) {
        std::fprintf(stderr, "message box: %s\n",
                     qPrintable(m.text + QLatin1Char(' ') + m.details));
    });
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (cleanUp)
        cleanUp();
    return 0;
}
