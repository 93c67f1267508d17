#include "ui/alerts.h"

#include <QApplication>
#include <QCheckBox>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>

using namespace iconfoundry;

namespace {

QMessageBox* openBox()
{
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* box = qobject_cast<QMessageBox*>(widget); box && box->isVisible())
            return box;
    }
    return nullptr;
}

} // namespace

// The message-box presenter of the running application, driven as a user would.
class TestAlerts : public QObject
{
    Q_OBJECT

private slots:
    void answersThroughTheCompletion_data();
    void answersThroughTheCompletion();
};

void TestAlerts::answersThroughTheCompletion_data()
{
    QTest::addColumn<QStringList>("buttons");
    QTest::addColumn<int>("click"); // index of the button clicked; -1 presses Escape
    QTest::addColumn<bool>("tickSuppression");
    QTest::addColumn<int>("response");

    const QStringList two{QStringLiteral("Replace"), QStringLiteral("Cancel")};
    QTest::newRow("first button") << two << 0 << false << 1000;
    QTest::newRow("second button, suppression ticked") << two << 1 << true << 1001;
    QTest::newRow("Escape answers the last button") << two << -1 << false << 1001;
    QTest::newRow("three buttons, the third") << QStringList{"Retry", "Skip", "Cancel"} << 2 << false << 1002;
    QTest::newRow("no buttons: one OK") << QStringList{} << 0 << false << 1000;
}

void TestAlerts::answersThroughTheCompletion()
{
    QFETCH(QStringList, buttons);
    QFETCH(int, click);
    QFETCH(bool, tickSuppression);
    QFETCH(int, response);

    Alert alert;
    alert.messageText = QStringLiteral("Replace <b>3</b> files?");
    alert.informativeText = QStringLiteral("They are already in the folder.");
    alert.buttonTitles = buttons;
    alert.showsSuppressionButton = true;
    alert.suppressionButtonTitle = QStringLiteral("Do not ask again");

    int answered = 0;
    std::optional<Alert> seen;
    // Returns at once: the question is open while the event loop goes on.
    beginAlert(alert, [&](int r, const Alert& a) {
        answered = r;
        seen = a;
    });
    QCOMPARE(answered, 0);

    QMessageBox* box = nullptr;
    QTRY_VERIFY((box = openBox()) != nullptr);
    QCOMPARE(box->windowModality(), Qt::ApplicationModal);
    // Texts are shown as written, never read as markup.
    QVERIFY(box->text().contains(QStringLiteral("Replace &lt;b&gt;3&lt;/b&gt; files?")));
    const QList<QAbstractButton*> shown = box->buttons();
    QCOMPARE(shown.size(), qMax<qsizetype>(buttons.size(), 1));
    if (tickSuppression)
        box->checkBox()->setChecked(true);

    if (click < 0) {
        QTest::keyClick(box, Qt::Key_Escape);
    } else {
        QAbstractButton* target = nullptr;
        for (QAbstractButton* button : shown) {
            if (buttons.isEmpty() || button->text() == buttons.at(click))
                target = button;
        }
        QVERIFY(target);
        target->click();
    }
    QTRY_COMPARE(answered, response);
    QVERIFY(seen);
    QCOMPARE(seen->suppressionButtonChecked, tickSuppression);
    QCOMPARE(seen->messageText, alert.messageText);
    QTRY_VERIFY(!openBox());
}

QTEST_MAIN(TestAlerts)
#include "tst_alerts.moc"
