#pragma once

// A fake `claude` program for tests that run whole coach turns. It sorts each prompt by its opening words
// into a kind (turn, memory, summary, rewrite, archetype), keeps it as $HOME/claude/{kind}-{n}.prompt, and
// answers with $HOME/claude/{kind}-{n}.reply, else $HOME/claude/{kind}.reply, else nothing.
// $HOME/claude/{kind}.sleep delays the answer by that many seconds.
//
// moc reads raw strings only in part: include this inside `#ifndef Q_MOC_RUN`.

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>

namespace scriptedclaude {

inline const QByteArray script = R"SH(#!/bin/sh
d="$HOME/claude"
mkdir -p "$d"
case "$2" in
  "You maintain a texting coach"*) kind=memory ;;
  "Summarize this coaching session"*) kind=summary ;;
  "Rewrite this text message"*) kind=rewrite ;;
  "Based only on these texting statistics"*) kind=archetype ;;
  *) kind=turn ;;
esac
n=$(( $(cat "$d/$kind.count" 2>/dev/null || echo 0) + 1 ))
echo $n > "$d/$kind.count"
printf '%s' "$2" > "$d/$kind-$n.prompt"
[ -f "$d/$kind.sleep" ] && sleep $(cat "$d/$kind.sleep")
if [ -f "$d/$kind-$n.reply" ]; then cat "$d/$kind-$n.reply"; elif [ -f "$d/$kind.reply" ]; then cat "$d/$kind.reply"; fi
exit 0
)SH";

// Where the program goes: the first place the app looks.
inline QString programPath(const QString& home) {
    return home + QStringLiteral("/.local/bin/claude");
}

inline bool install(const QString& home) {
    const QString path = programPath(home);
    QFile file(path);
    if (!QDir().mkpath(QFileInfo(path).path()) || !file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        return false;
    }
    file.write(script);
    file.close();
    return QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

inline bool write(const QString& home, const QString& name, const QByteArray& contents) {
    QFile file(home + QStringLiteral("/claude/") + name);
    if (!QDir().mkpath(home + QStringLiteral("/claude")) ||
        !file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        return false;
    }
    return file.write(contents) == contents.size();
}

inline QString read(const QString& home, const QString& name) {
    QFile file(home + QStringLiteral("/claude/") + name);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

} // namespace scriptedclaude
