// clouddiskctl: administers a cloud-disk data folder (the one the embedded
// service or clouddiskd uses). It may run while a server uses the folder.
#include "CloudDiskService.h"

#include <QCoreApplication>
#include <QDir>
#include <QJsonArray>
#include <QStringList>
#include <QTextStream>

namespace {

QTextStream& out()
{
    static QTextStream s(stdout);
    return s;
}

QTextStream& err()
{
    static QTextStream s(stderr);
    return s;
}

const char* const kUsage =
    "usage: clouddiskctl [--db postgresql://USER@HOST:PORT/DBNAME] --data DIR COMMAND ...\n"
    "\n"
    "  --db names the PostgreSQL database of a cloud that several clouddiskd share\n"
    "  (the same --db and --data they run with); without it the records are the\n"
    "  SQLite database in DIR.\n"
    "\n"
    "  user add NAME PASSWORD            create a user; prints the new user id\n"
    "  user add NAME --password-stdin    the same, the password read from standard input\n"
    "  user passwd USER PASSWORD         set a user's password (ends the user's sessions)\n"
    "  user passwd USER --password-stdin\n"
    "  user logout USER                  end every session of USER; prints how many\n"
    "  user list                         id and name of every user\n"
    "  enterprise add NAME               create an enterprise; prints its id\n"
    "  enterprise list                   id and name of every enterprise\n"
    "  member add ENTERPRISE USER        make USER a member of ENTERPRISE\n"
    "  member remove ENTERPRISE USER     end a membership (and its withdrawn rights)\n"
    "  member list ENTERPRISE            the members of ENTERPRISE\n"
    "  right withdraw ENTERPRISE PATH USER RIGHT\n"
    "  right grant ENTERPRISE PATH USER RIGHT\n"
    "                                    RIGHT is enter (folders), open or download (files);\n"
    "                                    members hold every right until one is withdrawn\n"
    "  right list ENTERPRISE             the rights withdrawn in ENTERPRISE\n"
    "  mkdir TREE OWNER PATH             create folders (TREE is user or enterprise)\n"
    "  import LOCALDIR TREE OWNER [PATH] copy a local folder's contents into a cloud folder\n"
    "  rm TREE OWNER PATH                remove a cloud file or folder\n"
    "  tree TREE OWNER [PATH]            list a tree\n"
    "\n"
    "USER, ENTERPRISE and OWNER are names or numeric ids. PATH names folders below\n"
    "the top of the tree, separated by \"/\" (\"设计/图纸\"); empty is the top.\n";

int usage()
{
    // A bare char* would go through the stream as Latin-1.
    err() << QString::fromUtf8(kUsage);
    return 2;
}

int fail(const QString& message)
{
    err() << "clouddiskctl: " << message << "\n";
    return 1;
}

qint64 resolveUser(const clouddisk::Service& s, const QString& text)
{
    const qint64 byName = s.userId(text);
    if (byName > 0)
        return byName;
    bool ok = false;
    const qint64 id = text.toLongLong(&ok);
    return ok && !s.userName(id).isEmpty() ? id : -1;
}

qint64 resolveEnterprise(const clouddisk::Service& s, const QString& text)
{
    const qint64 byName = s.enterpriseId(text);
    if (byName > 0)
        return byName;
    bool ok = false;
    const qint64 id = text.toLongLong(&ok);
    return ok && !s.enterpriseName(id).isEmpty() ? id : -1;
}

// The top folder of a user's or an enterprise's tree, or -1.
qint64 treeTop(const clouddisk::Service& s, const QString& kind, const QString& owner, QString* error)
{
    if (kind == QLatin1String("user")) {
        const qint64 u = resolveUser(s, owner);
        if (u < 0)
            *error = QStringLiteral("no user %1").arg(owner);
        return u < 0 ? -1 : s.personalRoot(u);
    }
    if (kind == QLatin1String("enterprise")) {
        const qint64 e = resolveEnterprise(s, owner);
        if (e < 0)
            *error = QStringLiteral("no enterprise %1").arg(owner);
        return e < 0 ? -1 : s.enterpriseRoot(e);
    }
    *error = QStringLiteral("TREE is user or enterprise, not %1").arg(kind);
    return -1;
}

void printTree(const QJsonObject& node, int depth)
{
    const bool folder = node.value("wjlx").toString() == QLatin1String("1");
    out() << QString(depth * 2, QLatin1Char(' ')) << node.value("wjjmc").toString() << (folder ? "/" : "")
          << "  [" << node.value("wjjid").toString();
    if (!folder)
        out() << ", " << qint64(node.value("wjdx").toDouble()) << " B";
    out() << ", " << node.value("xgsj").toString() << "]\n";
    for (const QJsonValue& child : node.value("xjdata").toArray())
        printTree(child.toObject(), depth + 1);
}

// The first line of standard input, without its line end: a password that
// scripts need not put on a command line, where other accounts can see it.
QString passwordFromStdin()
{
    QTextStream in(stdin);
    in.setCodec("UTF-8");
    QString line = in.readLine();
    while (line.endsWith(QLatin1Char('\r')))
        line.chop(1);
    return line;
}

// The PASSWORD argument, or what standard input holds for --password-stdin.
QString passwordArgument(const QString& arg)
{
    return arg == QLatin1String("--password-stdin") ? passwordFromStdin() : arg;
}

int run(clouddisk::Service& s, const QStringList& a)
{
    QString error;
    const QString cmd = a.value(0);
    const QString sub = a.value(1);
    if (cmd == QLatin1String("user")) {
        if (sub == QLatin1String("add") && a.size() == 4) {
            const qint64 id = s.addUser(a[2], passwordArgument(a[3]), &error);
            if (id < 0)
                return fail(error);
            out() << id << "\n";
            return 0;
        }
        if (sub == QLatin1String("passwd") && a.size() == 4) {
            const qint64 u = resolveUser(s, a[2]);
            if (u < 0)
                return fail(QStringLiteral("no user %1").arg(a[2]));
            return s.setPassword(u, passwordArgument(a[3]), &error) ? 0 : fail(error);
        }
        if (sub == QLatin1String("logout") && a.size() == 3) {
            const qint64 u = resolveUser(s, a[2]);
            if (u < 0)
                return fail(QStringLiteral("no user %1").arg(a[2]));
            const int ended = s.endSessions(u, &error);
            if (ended < 0)
                return fail(error);
            out() << ended << "\n";
            return 0;
        }
        if (sub == QLatin1String("list") && a.size() == 2) {
            for (const auto& u : s.users())
                out() << u.id << "\t" << u.name << "\n";
            return 0;
        }
        return usage();
    }
    if (cmd == QLatin1String("enterprise")) {
        if (sub == QLatin1String("add") && a.size() == 3) {
            const qint64 id = s.addEnterprise(a[2], &error);
            if (id < 0)
                return fail(error);
            out() << id << "\n";
            return 0;
        }
        if (sub == QLatin1String("list") && a.size() == 2) {
            for (const auto& e : s.enterprises())
                out() << e.id << "\t" << e.name << "\n";
            return 0;
        }
        return usage();
    }
    if (cmd == QLatin1String("member")) {
        const qint64 e = resolveEnterprise(s, a.value(2));
        if ((sub == QLatin1String("add") || sub == QLatin1String("remove")) && a.size() == 4) {
            const qint64 u = resolveUser(s, a[3]);
            if (e < 0 || u < 0)
                return fail(QStringLiteral("no such enterprise or user"));
            const bool ok = sub == QLatin1String("add") ? s.addMember(e, u, &error) : s.removeMember(e, u, &error);
            return ok ? 0 : fail(error);
        }
        if (sub == QLatin1String("list") && a.size() == 3) {
            if (e < 0)
                return fail(QStringLiteral("no enterprise %1").arg(a[2]));
            for (const auto& m : s.members(e))
                out() << m.id << "\t" << m.name << "\n";
            return 0;
        }
        return usage();
    }
    if (cmd == QLatin1String("right")) {
        const qint64 e = resolveEnterprise(s, a.value(2));
        if ((sub == QLatin1String("withdraw") || sub == QLatin1String("grant")) && a.size() == 6) {
            const qint64 u = resolveUser(s, a[4]);
            if (e < 0 || u < 0)
                return fail(QStringLiteral("no such enterprise or user"));
            const qint64 node = s.nodeAt(s.enterpriseRoot(e), a[3]);
            if (node < 0)
                return fail(QStringLiteral("no %1 in %2").arg(a[3], a[2]));
            clouddisk::Service::Right right;
            if (a[5] == QLatin1String("enter"))
                right = clouddisk::Service::Right::Enter;
            else if (a[5] == QLatin1String("open"))
                right = clouddisk::Service::Right::Open;
            else if (a[5] == QLatin1String("download"))
                right = clouddisk::Service::Right::Download;
            else
                return usage();
            return s.setRight(node, u, right, sub == QLatin1String("grant"), &error) ? 0 : fail(error);
        }
        if (sub == QLatin1String("list") && a.size() == 3) {
            if (e < 0)
                return fail(QStringLiteral("no enterprise %1").arg(a[2]));
            for (const QJsonObject& r : s.withdrawnRights(e))
                out() << qint64(r.value("node").toDouble()) << "\t" << s.userName(qint64(r.value("user").toDouble()))
                      << "\t" << r.value("right").toString() << "\n";
            return 0;
        }
        return usage();
    }
    if (cmd == QLatin1String("mkdir") && a.size() == 4) {
        qint64 folder = treeTop(s, a[1], a[2], &error);
        if (folder < 0)
            return fail(error);
        for (const QString& name : a[3].split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
            folder = s.makeFolder(folder, name, &error);
            if (folder < 0)
                return fail(error);
        }
        out() << folder << "\n";
        return 0;
    }
    if (cmd == QLatin1String("import") && (a.size() == 4 || a.size() == 5)) {
        const qint64 top = treeTop(s, a[2], a[3], &error);
        if (top < 0)
            return fail(error);
        qint64 folder = top;
        for (const QString& name : a.value(4).split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
            folder = s.makeFolder(folder, name, &error);
            if (folder < 0)
                return fail(error);
        }
        const qint64 files = s.importFolder(folder, a[1], &error);
        if (files < 0)
            return fail(error);
        out() << files << " files imported\n";
        return 0;
    }
    if (cmd == QLatin1String("rm") && a.size() == 4) {
        const qint64 top = treeTop(s, a[1], a[2], &error);
        if (top < 0)
            return fail(error);
        const qint64 node = s.nodeAt(top, a[3]);
        if (node < 0 || node == top)
            return fail(QStringLiteral("no removable %1").arg(a[3]));
        return s.removeNode(node, &error) ? 0 : fail(error);
    }
    if (cmd == QLatin1String("tree") && (a.size() == 3 || a.size() == 4)) {
        const qint64 top = treeTop(s, a[1], a[2], &error);
        if (top < 0)
            return fail(error);
        const qint64 node = s.nodeAt(top, a.value(3));
        if (node < 0)
            return fail(QStringLiteral("no %1").arg(a.value(3)));
        printTree(s.subtree(node), 0);
        return 0;
    }
    return usage();
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    out().setCodec("UTF-8");
    err().setCodec("UTF-8");
    // The options come before the command.
    const auto take = [&args](const QString& option) {
        const int at = args.indexOf(option);
        if (at < 0 || at + 1 >= args.size())
            return QString();
        const QString value = args[at + 1];
        args.erase(args.begin() + at, args.begin() + at + 2);
        return value;
    };
    const QString data = take(QStringLiteral("--data"));
    const QString database = take(QStringLiteral("--db"));
    if (data.isEmpty() || args.isEmpty() || args.first() == QLatin1String("--help"))
        return usage();
    QString error;
    std::unique_ptr<clouddisk::Service> service =
        clouddisk::Service::open(QDir(data).absolutePath(), database, &error);
    if (!service)
        return fail(error);
    return run(*service, args);
}
