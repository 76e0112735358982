#include "MQProgressBar.h"
#include "FramelessDialog.h"
#include "zControl_p.h"

#include "zBaseTheme.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QLabel>
#include <QPointer>
#include <QProgressBar>
#include <QScreen>
#include <QVBoxLayout>

using zControlPrivate::scaled;

namespace {

class ProgressWindow : public FramelessDialog
{
public:
    ProgressWindow(const QString& title, const QString& text, int maximum, QWidget* parent)
        : FramelessDialog(parent)
    {
        setObjectName(QStringLiteral("MQProgressBar"));
        setWindowTitle(title);
        const QString font = zBaseTheme::color(QStringLiteral("font-color"));
        const QString secondary = zBaseTheme::color(QStringLiteral("secondary-font-color"));

        auto* root = new QVBoxLayout(this);
        root->setContentsMargins(scaled(20), scaled(14), scaled(20), scaled(18));
        root->setSpacing(scaled(10));
        auto* titleLabel = new QLabel(title, this);
        titleLabel->setObjectName(QStringLiteral("MQProgressBarTitle"));
        titleLabel->setStyleSheet(QStringLiteral("color:%1;font-size:14px;font-weight:bold;").arg(font));
        root->addWidget(titleLabel);

        auto* textRow = new QHBoxLayout;
        m_text = new QLabel(text, this);
        m_text->setObjectName(QStringLiteral("MQProgressBarText"));
        m_text->setWordWrap(true);
        m_text->setStyleSheet(QStringLiteral("color:%1;font-size:13px;").arg(secondary));
        textRow->addWidget(m_text, 1);
        m_percent = new QLabel(this);
        m_percent->setObjectName(QStringLiteral("MQProgressBarPercent"));
        m_percent->setStyleSheet(QStringLiteral("color:%1;font-size:13px;").arg(secondary));
        textRow->addWidget(m_percent, 0, Qt::AlignRight | Qt::AlignBottom);
        root->addLayout(textRow);

        m_bar = new QProgressBar(this);
        m_bar->setObjectName(QStringLiteral("MQProgressBarBar"));
        m_bar->setRange(0, qMax(0, maximum));
        m_bar->setValue(0);
        m_bar->setTextVisible(false);
        m_bar->setFixedHeight(scaled(6));
        m_bar->setStyleSheet(QStringLiteral(
            "QProgressBar{background:%1;border:none;border-radius:%3px;}"
            "QProgressBar::chunk{background:%2;border-radius:%3px;}")
                                 .arg(zBaseTheme::color(QStringLiteral("border-color")),
                                      zBaseTheme::color(QStringLiteral("accent-color")))
                                 .arg(scaled(3)));
        root->addWidget(m_bar);

        setMinimumWidth(scaled(360) + 2 * shadowMargin());
        adjustSize();
        setFixedSize(size());
        showValue(0);
    }

    void showValue(int value)
    {
        m_bar->setValue(qBound(m_bar->minimum(), value, m_bar->maximum()));
        const int max = m_bar->maximum();
        const int percent = max > 0 ? int(qint64(m_bar->value()) * 100 / max) : 0;
        m_percent->setText(QStringLiteral("%1%").arg(percent));
    }

    void centreOver(QWidget* parent)
    {
        QRect area;
        if (parent && parent->window()->isVisible())
            area = parent->window()->frameGeometry();
        else if (QScreen* primary = QGuiApplication::primaryScreen())
            area = primary->availableGeometry();
        if (area.isValid())
            move(area.center() - rect().center());
    }

    // The work behind the window cannot be cancelled, so Escape must not hide it.
    void reject() override {}

private:
    QLabel* m_text = nullptr;
    QLabel* m_percent = nullptr;
    QProgressBar* m_bar = nullptr;
};

void repaintNow()
{
    // The caller keeps the GUI thread busy; let the window paint without
    // letting the user act on anything meanwhile.
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

} // namespace

std::function<void(int)> MQProgressBar::CreateEasy(const QString& title, const QString& text,
                                                   int maximum, QWidget* parent)
{
    auto& s = zControlPrivate::state();
    s.progressTitles.append(title);
    QPointer<ProgressWindow> window;
    if (!s.progressScripted) {
        window = new ProgressWindow(title, text, maximum, parent);
        window->centreOver(parent);
        window->show();
        window->raise();
        repaintNow();
    }
    return [window, maximum](int value) {
        zControlPrivate::state().progressValues.append(value);
        if (!window)
            return;
        if (value > maximum) {
            window->close();
            window->deleteLater();
            return;
        }
        window->showValue(value);
        repaintNow();
    };
}
