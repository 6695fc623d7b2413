#pragma once
// Shared by the window tests: one QApplication on the offscreen platform for the
// whole test program, finding named child widgets, reading and setting
// controls as "name=value;name=value" text, and answering dialogs.

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QSlider>
#include <QSpinBox>
#include <QTimer>
#include <cstdlib>
#include <deque>
#include <functional>
#include <string>

#include "app/app_fakes.h"

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

// A control as text: "1"/"0" for a checked button, the value of a spin box or
// slider, the text of a combo box, line edit or label; "name.enabled" is "1"/"0".
inline std::string Shown(QObject& parent, const std::string& name) {
    const auto dot = name.find('.');
    auto* w = Child<QWidget>(parent, name.substr(0, dot).c_str());
    if (!w) return "<missing>";
    if (dot != std::string::npos) return w->isEnabled() ? "1" : "0";
    if (auto* b = qobject_cast<QAbstractButton*>(w)) return b->isChecked() ? "1" : "0";
    if (auto* s = qobject_cast<QSpinBox*>(w)) return std::to_string(s->value());
    if (auto* d = qobject_cast<QDoubleSpinBox*>(w))
        return QString::number(d->value()).toStdString();
    if (auto* s = qobject_cast<QSlider*>(w)) return std::to_string(s->value());
    if (auto* c = qobject_cast<QComboBox*>(w)) return c->currentText().toStdString();
    if (auto* e = qobject_cast<QLineEdit*>(w)) return e->text().toStdString();
    if (auto* l = qobject_cast<QLabel*>(w)) return l->text().toStdString();
    return "<unknown control>";
}

inline void ExpectShown(QObject& parent, const std::string& text) {
    for (const auto& [name, value] : KeyValues(text)) EXPECT_EQ(Shown(parent, name), value) << name;
}

// Sets controls as a user would; a combo box item is picked (and activated).
inline void Enter(QObject& parent, const std::string& text) {
    for (const auto& [name, value] : KeyValues(text)) {
        auto* w = Child<QWidget>(parent, name.c_str());
        const QString v = QString::fromStdString(value);
        if (auto* b = qobject_cast<QAbstractButton*>(w)) {
            b->setChecked(value == "1");
        } else if (auto* s = qobject_cast<QSpinBox*>(w)) {
            s->setValue(v.toInt());
        } else if (auto* s = qobject_cast<QSlider*>(w)) {
            s->setValue(v.toInt());
        } else if (auto* e = qobject_cast<QLineEdit*>(w)) {
            e->setText(v);
        } else if (auto* c = qobject_cast<QComboBox*>(w); c && c->findText(v) >= 0) {
            c->setCurrentIndex(c->findText(v));
            emit c->activated(c->currentIndex());
        } else {
            ADD_FAILURE() << "cannot enter " << name << "=" << value;
        }
    }
}

// Runs the event loop until `done` holds or `limitMs` passed; false on time-out.
inline bool RunUntil(const std::function<bool()>& done, int limitMs = 10000) {
    QElapsedTimer timer;
    timer.start();
    while (!done() && timer.elapsed() < limitMs)
        QApplication::processEvents(QEventLoop::AllEvents, 10);
    return done();
}

// Answers the dialogs that open, in order, each with the next step, and keeps
// what each showed as "title: text [button|button]"; a dialog with no step left
// is closed and noted as unexpected.
class Answers {
  public:
    using Step = std::function<void(QWidget* dialog)>;
    explicit Answers(std::deque<Step> steps) : steps_(std::move(steps)) {
        QObject::connect(&timer_, &QTimer::timeout, [this] { Poll(); });
        timer_.start(5);
    }
    ~Answers() { EXPECT_TRUE(steps_.empty()) << steps_.size() << " dialog(s) did not open"; }
    std::vector<std::string> shown;

  private:
    void Poll() {
        QWidget* dialog = QApplication::activeModalWidget();
        if (!dialog || dialog == last_ || !dialog->isVisible()) return;
        last_ = dialog;
        std::string seen = dialog->windowTitle().toStdString();
        if (auto* box = qobject_cast<QMessageBox*>(dialog)) {
            QStringList buttons;
            for (QAbstractButton* b : box->buttons()) buttons << b->text();
            seen += ": " + box->text().toStdString() + " [" + buttons.join("|").toStdString() + "]";
        }
        shown.push_back(seen);
        if (steps_.empty()) {
            ADD_FAILURE() << "unexpected dialog " << seen;
            return (void)QMetaObject::invokeMethod(dialog, "reject", Qt::QueuedConnection);
        }
        Step step = std::move(steps_.front());
        steps_.pop_front();
        step(dialog);
    }
    std::deque<Step> steps_;
    QTimer timer_;
    QWidget* last_ = nullptr;
};

inline Answers::Step Press(const QString& text, bool checkRepeat = false) {
    return [text, checkRepeat](QWidget* dialog) {
        auto* box = qobject_cast<QMessageBox*>(dialog);
        ASSERT_NE(box, nullptr);
        if (checkRepeat) box->checkBox()->setChecked(true);
        for (QAbstractButton* b : box->buttons())
            if (b->text() == text) return b->click();
        ADD_FAILURE() << "no button " << text.toStdString();
    };
}

inline QStringList Items(QComboBox* combo) {
    QStringList items;
    for (int i = 0; i < combo->count(); ++i) items << combo->itemText(i);
    return items;
}

}  // namespace vocarta::test
