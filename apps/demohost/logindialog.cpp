#include "logindialog.h"

#include "HostServices.h"
#include "InterfaceAdaptation.h"
#include "Users.h"
#include "zBaseButton.h"
#include "zBaseLineEdit.h"
#include "zBaseTheme.h"

#include <QDir>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace {

int px(double designPixels)
{
    return InterfaceAdaptation::getInstance()->getResolutionRatioH(designPixels);
}

} // namespace

LoginDialog::LoginDialog(QWidget* parent, const QString& name)
    : zBaseModal(parent)
{
    setObjectName(QStringLiteral("loginDialog"));
    setWindowTitle(QStringLiteral("登录"));
    auto* root = new QVBoxLayout(this);
    root->setContentsMargins(px(20), px(8), px(12), px(16));
    root->setSpacing(px(10));

    auto* titleRow = new QHBoxLayout;
    auto* title = new QLabel(QStringLiteral("登录云盘"), this);
    title->setStyleSheet(QStringLiteral("color:%1;font-size:14px;font-weight:bold;")
                             .arg(zBaseTheme::color(QStringLiteral("font-color"))));
    titleRow->addWidget(title, 1);
    zBaseButton* close = GetBtnClose();
    close->setFixedSize(px(28), px(28));
    close->setIconSize(QSize(px(12), px(12)));
    titleRow->addWidget(close, 0, Qt::AlignTop);
    close->show();
    root->addLayout(titleRow);

    auto* form = new QFormLayout;
    form->setContentsMargins(0, px(4), px(8), 0);
    form->setSpacing(px(8));
    m_name = new zBaseLineEdit(name, this);
    m_name->setObjectName(QStringLiteral("loginName"));
    m_name->setPlaceholderText(QStringLiteral("请输入用户名"));
    m_name->setMinimumWidth(px(220));
    m_password = new zBaseLineEdit(this);
    m_password->setObjectName(QStringLiteral("loginPassword"));
    m_password->setPlaceholderText(QStringLiteral("请输入密码"));
    m_password->setEchoMode(QLineEdit::Password);
    const QString labelStyle = QStringLiteral("color:%1;font-size:13px;").arg(zBaseTheme::color(QStringLiteral("font-color")));
    for (auto [text, field] : {std::pair<const char*, QWidget*>{"用户名", m_name}, {"密码", m_password}}) {
        auto* label = new QLabel(QString::fromUtf8(text), this);
        label->setStyleSheet(labelStyle);
        form->addRow(label, field);
    }
    root->addLayout(form);

    m_message = new QLabel(this);
    m_message->setObjectName(QStringLiteral("loginMessage"));
    m_message->setStyleSheet(QStringLiteral("color:#E5484D;font-size:13px;"));
    m_message->setWordWrap(true);
    root->addWidget(m_message);

    auto* buttons = new QHBoxLayout;
    buttons->setContentsMargins(0, 0, px(8), 0);
    buttons->addStretch(1);
    m_login = new zBaseButton(QStringLiteral("登录"), this);
    m_login->setObjectName(QStringLiteral("loginButton"));
    m_login->setControlType(zBaseButton::PrimaryButton);
    m_login->setMinimumSize(px(72), px(30));
    m_login->setDefault(true);
    auto* cancel = new zBaseButton(QStringLiteral("取消"), this);
    cancel->setObjectName(QStringLiteral("loginCancel"));
    cancel->setControlType(zBaseButton::SecondaryButton);
    cancel->setMinimumSize(px(72), px(30));
    buttons->addWidget(m_login);
    buttons->addWidget(cancel);
    root->addLayout(buttons);

    connect(m_login, &QAbstractButton::clicked, this, &LoginDialog::tryLogin);
    connect(cancel, &QAbstractButton::clicked, this, &QDialog::reject);
    (name.isEmpty() ? m_name : m_password)->setFocus();
    adjustSize();
}

void LoginDialog::tryLogin()
{
    const QString name = m_name->text().trimmed();
    if (name.isEmpty() || m_password->text().isEmpty()) {
        m_message->setText(QStringLiteral("请输入用户名和密码"));
        return;
    }
    QString message;
    if (osgi::SignIn(name, m_password->text(), &message)) {
        accept();
        return;
    }
    m_message->setText(message.isEmpty() ? QStringLiteral("登录失败") : message);
    m_password->clear();
    m_password->setFocus();
}

void DemoFirstPage::Login(const QJsonObject& args)
{
    Q_UNUSED(args)
    LoginDialog dialog(Communication::GetInstance()->GetMainWindow(), Users::Instance()->Mqy()->UserName);
    dialog.exec();
}

QString saveLoginScreenshot(const QString& dir)
{
    LoginDialog dialog(nullptr, Users::Instance()->Mqy()->UserName);
    dialog.findChild<zBaseLineEdit*>(QStringLiteral("loginPassword"))->setText(QStringLiteral("wrong"));
    dialog.findChild<zBaseButton*>(QStringLiteral("loginButton"))->click();
    dialog.show();
    QDir().mkpath(dir);
    const QString file = QDir(dir).filePath(QStringLiteral("login-window.png"));
    return dialog.grab().save(file) ? file : QString();
}
