#include "accessibleplaces.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAccessibleWidget>
#include <QComboBox>
#include <QListWidget>

namespace {

const char kPlaceProperty[] = "pfdAccessiblePlace";
const char kWidgetListProperty[] = "pfdAccessibleWidgetList";
const char kComboProperty[] = "pfdAccessibleNamedCombo";

QListWidget* markedListAround(const QWidget* widget)
{
    // Row widgets live in the list's viewport.
    const QWidget* viewport = widget ? widget->parentWidget() : nullptr;
    auto* list = viewport ? qobject_cast<QListWidget*>(viewport->parentWidget()) : nullptr;
    return list && list->property(kWidgetListProperty).toBool() ? list : nullptr;
}

class PlaceAccessible : public QAccessibleWidget
{
public:
    explicit PlaceAccessible(QAbstractButton* button)
        : QAccessibleWidget(button, QAccessible::Button)
    {
    }

    QAbstractButton* button() const { return static_cast<QAbstractButton*>(object()); }

    QAccessibleInterface* parent() const override
    {
        if (QListWidget* list = markedListAround(button()))
            return QAccessible::queryAccessibleInterface(list);
        return QAccessibleWidget::parent();
    }

    QString text(QAccessible::Text t) const override
    {
        if (t == QAccessible::Name) {
            const QString name = button()->accessibleName();
            return name.isEmpty() ? button()->text().remove(QLatin1Char('&')) : name;
        }
        return QAccessibleWidget::text(t);
    }

    QAccessible::State state() const override
    {
        QAccessible::State s = QAccessibleWidget::state();
        s.checkable = button()->isCheckable();
        s.checked = button()->isChecked();
        return s;
    }

    QStringList actionNames() const override
    {
        QStringList names;
        if (button()->isEnabled())
            names << pressAction();
        return names + QAccessibleWidget::actionNames();
    }

    void doAction(const QString& name) override
    {
        if (name == pressAction() && button()->isEnabled())
            button()->click();
        else
            QAccessibleWidget::doAction(name);
    }
};

class WidgetListAccessible : public QAccessibleWidget
{
public:
    explicit WidgetListAccessible(QListWidget* list)
        : QAccessibleWidget(list, QAccessible::Grouping)
    {
    }

    QListWidget* list() const { return static_cast<QListWidget*>(object()); }

    QList<QWidget*> rows() const
    {
        QList<QWidget*> widgets;
        for (int r = 0; r < list()->count(); ++r) {
            if (QWidget* w = list()->itemWidget(list()->item(r)))
                widgets << w;
        }
        return widgets;
    }

    int childCount() const override { return rows().size(); }

    QAccessibleInterface* child(int index) const override
    {
        const QList<QWidget*> widgets = rows();
        if (index < 0 || index >= widgets.size())
            return nullptr;
        return QAccessible::queryAccessibleInterface(widgets.at(index));
    }

    int indexOfChild(const QAccessibleInterface* child) const override
    {
        return child ? rows().indexOf(qobject_cast<QWidget*>(child->object())) : -1;
    }

    QAccessibleInterface* childAt(int x, int y) const override
    {
        for (QWidget* w : rows()) {
            if (w->isVisible() && QRect(w->mapToGlobal(QPoint(0, 0)), w->size()).contains(x, y))
                return QAccessible::queryAccessibleInterface(w);
        }
        return nullptr;
    }
};

class ComboAccessible : public QAccessibleWidget
{
public:
    explicit ComboAccessible(QComboBox* combo)
        : QAccessibleWidget(combo, QAccessible::ComboBox)
    {
    }

    QComboBox* combo() const { return static_cast<QComboBox*>(object()); }

    QString text(QAccessible::Text t) const override
    {
        if (t == QAccessible::Name)
            return combo()->accessibleName();
        if (t == QAccessible::Value)
            return combo()->currentText();
        return QAccessibleWidget::text(t);
    }

    int childCount() const override { return combo()->view() ? 1 : 0; }
    QAccessibleInterface* child(int index) const override
    {
        return index == 0 && combo()->view() ? QAccessible::queryAccessibleInterface(combo()->view()) : nullptr;
    }
    int indexOfChild(const QAccessibleInterface* child) const override
    {
        return child && combo()->view() && child->object() == combo()->view() ? 0 : -1;
    }

    QAccessible::State state() const override
    {
        QAccessible::State s = QAccessibleWidget::state();
        s.expandable = true;
        s.expanded = combo()->view() && combo()->view()->isVisible();
        s.collapsed = !s.expanded;
        return s;
    }

    QStringList actionNames() const override
    {
        return QStringList{showMenuAction(), pressAction()} + QAccessibleWidget::actionNames();
    }

    void doAction(const QString& name) override
    {
        if (name == showMenuAction() || name == pressAction())
            combo()->showPopup();
        else
            QAccessibleWidget::doAction(name);
    }
};

QAccessibleInterface* placesFactory(const QString&, QObject* object)
{
    if (!object || !object->isWidgetType())
        return nullptr;
    if (object->property(kPlaceProperty).toBool()) {
        if (auto* button = qobject_cast<QAbstractButton*>(object))
            return new PlaceAccessible(button);
    }
    if (object->property(kWidgetListProperty).toBool()) {
        if (auto* list = qobject_cast<QListWidget*>(object))
            return new WidgetListAccessible(list);
    }
    if (object->property(kComboProperty).toBool()) {
        if (auto* combo = qobject_cast<QComboBox*>(object))
            return new ComboAccessible(combo);
    }
    return nullptr;
}

// An interface the framework made before the mark (a screen reader may be
// listening from the start) goes, so the next question gets ours.
void remark(QObject* object, const char* property)
{
    pfd::installAccessibleInterfaces();
    object->setProperty(property, true);
    QAccessibleInterface* iface = QAccessible::queryAccessibleInterface(object);
    if (iface && !dynamic_cast<PlaceAccessible*>(iface) && !dynamic_cast<WidgetListAccessible*>(iface)
        && !dynamic_cast<ComboAccessible*>(iface))
        QAccessible::deleteAccessibleInterface(QAccessible::uniqueId(iface));
}

} // namespace

WidgetRowList::WidgetRowList(QWidget* parent)
    : QListWidget(parent)
{
    pfd::markAsWidgetList(this);
}

namespace pfd {

void markAsPlace(QAbstractButton* button)
{
    remark(button, kPlaceProperty);
}

void markAsWidgetList(QListWidget* list)
{
    remark(list, kWidgetListProperty);
}

void markAsNamedCombo(QComboBox* combo)
{
    remark(combo, kComboProperty);
}

void installAccessibleInterfaces()
{
    static const bool installed = [] {
        QAccessible::installFactory(placesFactory);
        return true;
    }();
    Q_UNUSED(installed)
}

} // namespace pfd
