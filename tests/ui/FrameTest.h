#pragma once

#include "app/MainFrame.h"
#include "ui/UiTestUtils.h"

#include <memory>

/// A test with a main window of its own over the test's own settings and data folder.
class CFrameTest : public CUiTest
{
protected:
    void SetUp() override
    {
        CUiTest::SetUp();
        m_frame = std::make_unique<CMainFrame>();
    }
    void TearDown() override
    {
        m_frame.reset(); // its pages write their settings while the test's folder exists
        CUiTest::TearDown();
    }

    /// A file in the test's own folder.
    QString Temp(const char *name) const { return m_config.filePath(QString::fromLatin1(name)); }

    std::unique_ptr<CMainFrame> m_frame;
};
