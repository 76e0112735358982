#include "zBaseButton.h"

#include <QHash>
#include "zBaseControl_p.h"

#include <QCoreApplication>
#include <QEvent>

namespace {

// Its backgrounds are the ones zBaseTheme::plainButton() reports.
const char kPushSheet[] =
    "QPushButton{background:@button-color@;color:@font-color@;"
    "border:1px solid @border-color@;border-radius:4px;padding:4px 14px;font-size:13px;}"
    "QPushButton:hover{background:@button-hover-color@;}"
    "QPushButton:pressed{background:@pressed-color@;}"
    "QPushButton:checked{background:@pressed-color@;color:@accent-color@;}"
    "QPushButton:disabled{color:@disabled-font-color@;background:@button-disabled-color@;}";

const char kPrimarySheet[] =
    "QPushButton{background:@accent-color@;color:#FFFFFF;border:1px solid @accent-color@;"
    "border-radius:4px;padding:4px 14px;font-size:13px;}"
    "QPushButton:hover{background:@accent-hover-color@;border-color:@accent-hover-color@;}"
    "QPushButton:pressed{background:@accent-pressed-color@;border-color:@accent-pressed-color@;}"
    "QPushButton:disabled{background:@pressed-color@;border-color:@pressed-color@;color:#FFFFFF;}";

const char kSecondarySheet[] =
    "QPushButton{background:@background-color@;color:@font-color@;"
    "border:1px solid @border-color@;border-radius:4px;padding:4px 14px;font-size:13px;}"
    "QPushButton:hover{color:@accent-color@;border-color:@accent-color@;}"
    "QPushButton:pressed{background:@pressed-color@;color:@accent-color@;border-color:@accent-color@;}"
    "QPushButton:disabled{color:@disabled-font-color@;border-color:@border-color@;}";

const char kPlaceSheet[] =
    "QPushButton{background:transparent;color:@font-color@;border:none;border-radius:4px;"
    "text-align:left;padding:0px 12px;font-size:13px;}"
    "QPushButton:hover{background:@place-hover-color@;}"
    "QPushButton:checked{background:@checked-color@;color:@accent-color@;}"
    "QPushButton:disabled{color:@disabled-font-color@;background:transparent;}";

const char kCrumbSheet[] =
    "QPushButton{background:transparent;color:@font-color@;border:none;border-radius:4px;"
    "padding:0px 6px;font-size:13px;}"
    "QPushButton:hover{background:@hover-color@;}"
    "QPushButton:pressed,QPushButton:checked{background:@pressed-color@;}"
    "QPushButton:disabled{color:@disabled-font-color@;}";

const char kToolSheet[] =
    "QPushButton{background:transparent;color:@font-color@;border:none;border-radius:4px;"
    "padding:2px;font-size:13px;}"
    "QPushButton:hover{background:@hover-color@;}"
    "QPushButton:pressed,QPushButton:checked{background:@pressed-color@;}"
    "QPushButton:disabled{color:@disabled-font-color@;background:transparent;}";

const char* sheetFor(int type)
{
    switch (type) {
    case zBaseButton::PushButton: return kPushSheet;
    case zBaseButton::PrimaryButton: return kPrimarySheet;
    case zBaseButton::SecondaryButton: return kSecondarySheet;
    case zBaseButton::PlaceButton: return kPlaceSheet;
    case zBaseButton::CrumbButton: return kCrumbSheet;
    default: return kToolSheet;
    }
}

QIcon iconFrom(const QString& path)
{
    // QIcon keeps the file and renders SVG at the size and device-pixel ratio
    // asked for, so icons stay sharp on scaled screens.
    if (path.isEmpty())
        return QIcon();
    // Loading an icon parses its file; buttons share one icon per file, and
    // each keeps rendering at its own size and pixel ratio.
    static QHash<QString, QIcon> loaded;
    auto it = loaded.constFind(path);
    if (it == loaded.constEnd())
        it = loaded.insert(path, QIcon(path));
    return it.value();
}

} // namespace

zBaseButton::zBaseButton(QWidget* parent)
    : zBaseButton(QString(), parent)
{
}

zBaseButton::zBaseButton(const QString& text, QWidget* parent)
    : QPushButton(text, parent)
{
    // Without this Qt 5 draws icons at 1x and stretches them on scaled
    // screens; the host's icons are SVG and should stay sharp.
    if (!QCoreApplication::testAttribute(Qt::AA_UseHighDpiPixmaps))
        QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    setCursor(Qt::PointingHandCursor);
    applySheet();
    connect(this, &QAbstractButton::toggled, this, [this] { updateIcon(); });
    connect(this, &QAbstractButton::pressed, this, [this] { updateIcon(); });
    connect(this, &QAbstractButton::released, this, [this] { updateIcon(); });
}

void zBaseButton::SetText(const QString& text)
{
    setText(text);
}

void zBaseButton::setIcon(const QString& normal, const QString& hover, const QString& pressed)
{
    m_normalPath = normal;
    m_hoverPath = hover;
    m_pressedPath = pressed;
    m_normal = iconFrom(normal);
    m_hover = iconFrom(hover);
    m_pressed = iconFrom(pressed);
    m_currentPath.clear();
    updateIcon();
}

void zBaseButton::setIcon(const QIcon& icon)
{
    m_normalPath.clear();
    m_hoverPath.clear();
    m_pressedPath.clear();
    m_currentPath.clear();
    m_normal = m_hover = m_pressed = QIcon();
    QPushButton::setIcon(icon);
}

void zBaseButton::setControlType(int type)
{
    if (type == m_controlType)
        return;
    m_controlType = type;
    applySheet();
}

void zBaseButton::applySheet()
{
    zBaseControlPrivate::setThemeSheet(this, zBaseControlPrivate::themed(sheetFor(m_controlType)));
}

bool zBaseButton::event(QEvent* event)
{
    zBaseControlPrivate::applyThemeSheet(this, event);
    return QPushButton::event(event);
}

void zBaseButton::enterEvent(QEvent* event)
{
    m_hovered = true;
    updateIcon();
    QPushButton::enterEvent(event);
}

void zBaseButton::leaveEvent(QEvent* event)
{
    m_hovered = false;
    updateIcon();
    QPushButton::leaveEvent(event);
}

void zBaseButton::changeEvent(QEvent* event)
{
    // A disabled button gets no Leave, so it would keep its hover icon.
    if (event->type() == QEvent::EnabledChange && !isEnabled()) {
        m_hovered = false;
        updateIcon();
    }
    QPushButton::changeEvent(event);
}

void zBaseButton::updateIcon()
{
    if (m_normalPath.isEmpty() && m_hoverPath.isEmpty() && m_pressedPath.isEmpty())
        return;
    const QString* path = &m_normalPath;
    const QIcon* icon = &m_normal;
    if (isDown() && !m_pressedPath.isEmpty()) {
        path = &m_pressedPath;
        icon = &m_pressed;
    } else if ((m_hovered || isChecked()) && !m_hoverPath.isEmpty()) {
        path = &m_hoverPath;
        icon = &m_hover;
    }
    if (*path == m_currentPath)
        return;
    m_currentPath = *path;
    QPushButton::setIcon(*icon);
}
