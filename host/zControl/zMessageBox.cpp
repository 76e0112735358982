#include "zMessageBox.h"
#include "zBaseModal.h"
#include "zControl_p.h"

#include "zBaseButton.h"
#include "zBaseTheme.h"

#include <QApplication>
#include <QCursor>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPointer>
#include <QScreen>
#include <QVBoxLayout>

using zControlPrivate::scaled;

namespace {

enum IconKind { InfoIcon = 0, WarningIcon = 1, ErrorIcon = 2, QuestionIcon = 3 };

QColor themeColour(const char* key)
{
    return QColor(zBaseTheme::color(QLatin1String(key)));
}

class MessageIcon : public QWidget
{
public:
    MessageIcon(int kind, QWidget* parent) : QWidget(parent), m_kind(kind)
    {
        setFixedSize(scaled(28), scaled(28));
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        const QRectF r = QRectF(rect()).adjusted(1, 1, -1, -1);
        const qreal u = r.width() / 24.0; // drawn on a 24-unit grid
        p.setPen(Qt::NoPen);
        if (m_kind == WarningIcon) {
            QPainterPath tri;
            tri.moveTo(r.center().x(), r.top() + 1.5 * u);
            tri.lineTo(r.right() - 0.5 * u, r.bottom() - 2 * u);
            tri.lineTo(r.left() + 0.5 * u, r.bottom() - 2 * u);
            tri.closeSubpath();
            p.setPen(QPen(QColor(0xF5, 0xA6, 0x23), 2 * u, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            p.setBrush(QColor(0xF5, 0xA6, 0x23));
            p.drawPath(tri);
        } else {
            p.setBrush(m_kind == ErrorIcon ? QColor(0xE5, 0x48, 0x4D) : themeColour("accent-color"));
            p.drawEllipse(r);
        }
        const qreal cx = r.center().x();
        const qreal top = r.top();
        QPen mark(Qt::white, 2.2 * u, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
        p.setPen(mark);
        p.setBrush(Qt::NoBrush);
        switch (m_kind) {
        case WarningIcon:
            p.drawLine(QPointF(cx, top + 9 * u), QPointF(cx, top + 14.5 * u));
            p.drawPoint(QPointF(cx, top + 18.5 * u));
            break;
        case ErrorIcon:
            p.drawLine(QPointF(cx - 4.5 * u, top + 7.5 * u), QPointF(cx + 4.5 * u, top + 16.5 * u));
            p.drawLine(QPointF(cx + 4.5 * u, top + 7.5 * u), QPointF(cx - 4.5 * u, top + 16.5 * u));
            break;
        case QuestionIcon: {
            QPainterPath hook;
            hook.moveTo(cx - 3.5 * u, top + 9.5 * u);
            hook.cubicTo(cx - 3.5 * u, top + 5 * u, cx + 4 * u, top + 5 * u, cx + 4 * u, top + 9.5 * u);
            hook.cubicTo(cx + 4 * u, top + 12.5 * u, cx, top + 12 * u, cx, top + 15 * u);
            p.drawPath(hook);
            p.drawPoint(QPointF(cx, top + 18.5 * u));
            break;
        }
        default:
            p.drawPoint(QPointF(cx, top + 6.5 * u));
            p.drawLine(QPointF(cx, top + 10.5 * u), QPointF(cx, top + 17.5 * u));
            break;
        }
    }

private:
    int m_kind;
};

// The box itself; 0 for the first button, 1 for the second or a close.
class MessageBoxWindow : public zBaseModal
{
public:
    MessageBoxWindow(const QString& title, const QString& text, int icon,
                     const QStringList& buttons, QWidget* parent)
        : zBaseModal(parent)
    {
        setObjectName(QStringLiteral("zMessageBox"));
        setWindowTitle(title);
        auto* root = new QVBoxLayout(this);
        root->setContentsMargins(scaled(20), scaled(8), scaled(12), scaled(16));
        root->setSpacing(scaled(8));

        auto* titleRow = new QHBoxLayout;
        auto* titleLabel = new QLabel(title, this);
        titleLabel->setObjectName(QStringLiteral("zMessageBoxTitle"));
        titleLabel->setStyleSheet(QStringLiteral("color:%1;font-size:14px;font-weight:bold;")
                                      .arg(zBaseTheme::color(QStringLiteral("font-color"))));
        titleRow->addWidget(titleLabel, 1);
        zBaseButton* close = GetBtnClose();
        close->setFixedSize(scaled(28), scaled(28));
        close->setIconSize(QSize(scaled(12), scaled(12)));
        titleRow->addWidget(close, 0, Qt::AlignTop);
        close->show();
        root->addLayout(titleRow);

        auto* body = new QHBoxLayout;
        body->setContentsMargins(0, scaled(4), scaled(8), scaled(8));
        body->setSpacing(scaled(12));
        body->addWidget(new MessageIcon(icon, this), 0, Qt::AlignTop);
        auto* textLabel = new QLabel(text, this);
        textLabel->setObjectName(QStringLiteral("zMessageBoxText"));
        textLabel->setWordWrap(true);
        textLabel->setMinimumWidth(scaled(260));
        textLabel->setMaximumWidth(scaled(420));
        textLabel->setStyleSheet(QStringLiteral("color:%1;font-size:13px;")
                                     .arg(zBaseTheme::color(QStringLiteral("font-color"))));
        body->addWidget(textLabel, 1, Qt::AlignVCenter);
        root->addLayout(body);

        auto* buttonRow = new QHBoxLayout;
        buttonRow->setContentsMargins(0, 0, scaled(8), 0);
        buttonRow->setSpacing(scaled(8));
        buttonRow->addStretch(1);
        for (int i = 0; i < buttons.size(); ++i) {
            auto* b = new zBaseButton(buttons.at(i), this);
            b->setObjectName(i == 0 ? QStringLiteral("zMessageBoxYes") : QStringLiteral("zMessageBoxNo"));
            b->setControlType(i == 0 ? zBaseButton::PrimaryButton : zBaseButton::SecondaryButton);
            b->setMinimumSize(scaled(72), scaled(30));
            b->setAutoDefault(i == 0);
            b->setDefault(i == 0);
            const int answer = i == 0 ? 0 : 1;
            connect(b, &QAbstractButton::clicked, this, [this, answer] { done(answer); });
            buttonRow->addWidget(b);
        }
        root->addLayout(buttonRow);
        adjustSize();
        // A message is read, not resized.
        setFixedSize(size());
    }

    void reject() override { done(1); }

    void centreOver(QWidget* parent)
    {
        QRect area;
        if (parent && parent->window()->isVisible())
            area = parent->window()->frameGeometry();
        else if (QScreen* screen = QGuiApplication::screenAt(QCursor::pos()))
            area = screen->availableGeometry();
        else if (QScreen* primary = QGuiApplication::primaryScreen())
            area = primary->availableGeometry();
        if (area.isValid())
            move(area.center() - rect().center());
    }
};

// The captions shown: the box's own pair, renamed by the caller's texts,
// narrowed to the caller's set (1 first, 2 second, 3 both; else defaultSet).
QStringList buttonCaptions(const QStringList& own, const QString& yesText, const QString& noText, int buttons,
                           int defaultSet)
{
    const int set = buttons > 0 && buttons <= 3 ? buttons : defaultSet;
    QStringList out;
    if (set & 1)
        out << (yesText.isEmpty() ? own.value(0) : yesText);
    if (set & 2)
        out << (noText.isEmpty() ? own.value(1) : noText);
    return out;
}

int run(const char* kind, const QString& text, QWidget* parent, const QString& title,
        const QStringList& buttons, int icon, int recordedType, int buttonSet = 0)
{
    auto& s = zControlPrivate::state();
    const QString shownTitle = title.isEmpty() ? QStringLiteral("提示") : title;
    s.calls.append({QLatin1String(kind), text, shownTitle, parent, buttons, recordedType, buttonSet});
    if (s.messageBoxScripted)
        return s.answers.isEmpty() ? 0 : s.answers.takeFirst();

    // The parent may go away while the box runs its own event loop.
    QPointer<MessageBoxWindow> box = new MessageBoxWindow(shownTitle, text, icon, buttons, parent);
    box->centreOver(parent);
    const int answer = box->exec();
    if (!box)
        return 1; // destroyed with its parent: the user never agreed
    delete box.data();
    return answer;
}

const QStringList yesNo() { return {QStringLiteral("是"), QStringLiteral("否")}; }
const QStringList okCancel() { return {QStringLiteral("确定"), QStringLiteral("取消")}; }
const QStringList okOnly() { return {QStringLiteral("确定")}; }

} // namespace

int showQuestion(const QString& text, QWidget* parent, const QString& title, const QString& yesText,
                 const QString& noText, int buttons)
{
    return run("question", text, parent, title, buttonCaptions(yesNo(), yesText, noText, buttons, 3), QuestionIcon,
               QuestionIcon, buttons);
}

int showWarning(const QString& text, QWidget* parent, const QString& title, const QString& yesText,
                const QString& noText, int buttons)
{
    return run("warning", text, parent, title, buttonCaptions(okCancel(), yesText, noText, buttons, 3), WarningIcon,
               WarningIcon, buttons);
}

int showCritical(const QString& text, QWidget* parent, const QString& title, const QString& yesText,
                 const QString& noText, int buttons)
{
    return run("critical", text, parent, title, buttonCaptions(okCancel(), yesText, noText, buttons, 3), ErrorIcon,
               ErrorIcon, buttons);
}

int showInformation(const QString& text, QWidget* parent, const QString& title, const QString& yesText,
                    const QString& noText, int buttons)
{
    return run("information", text, parent, title, buttonCaptions(okCancel(), yesText, noText, buttons, 1),
               InfoIcon, InfoIcon, buttons);
}

int showInforByOneBtn(const QString& text, QWidget* parent, int type)
{
    const int icon = type == 0 ? InfoIcon : type == 2 ? ErrorIcon : WarningIcon;
    return run("inforByOneBtn", text, parent, QString(), okOnly(), icon, type);
}
