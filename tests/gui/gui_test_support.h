#pragma once
// Shared by the window tests: one QApplication on the offscreen platform for the
// whole test program, and finding named child widgets.

#include <gtest/gtest.h>

#include <QApplication>
#include <QComboBox>
#include <QWidget>
#include <cstdlib>

namespace vocarta::test {

inline void EnsureApplication() {
    // The device page and the session must never reach (or start) a sound server
    // of the machine, whichever test made the application.
    setenv("VOCARTA_CAPTURE", "simulated", 1);
    if (QApplication::instance()) return;
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    static int argc = 1;
    static char name[] = "gui_tests";
    static char* argv[] = {name, nullptr};
    new QApplication(argc, argv);  // lives as long as the test program
}

template <typename W>
W* Child(QObject& parent, const char* name) {
    W* widget = parent.findChild<W*>(name);
    EXPECT_NE(widget, nullptr) << name;
    return widget;
}

inline QStringList Items(QComboBox* combo) {
    QStringList items;
    for (int i = 0; i < combo->count(); ++i) items << combo->itemText(i);
    return items;
}

}  // namespace vocarta::test
