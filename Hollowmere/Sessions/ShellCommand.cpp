// SPDX-License-Identifier: MIT
#include "ShellCommand.h"

namespace ShellCommand {
namespace {

class Scanner {
public:
    explicit Scanner(const QString& command) : m_text(command) {}

    std::optional<QStringList> run() {
        for (m_at = 0; m_at < m_text.size(); ++m_at) {
            if (!step())
                return std::nullopt;
        }
        if (m_quote != QChar())
            return std::nullopt; // unclosed
        endCommand(m_text.size());
        if (m_programs.isEmpty())
            return std::nullopt;
        return m_programs;
    }

private:
    QChar at(qsizetype i) const { return i < m_text.size() ? m_text.at(i) : QChar(); }

    // False when the command holds something no program rule may cover.
    bool step() {
        const QChar c = m_text.at(m_at);
        const QChar next = at(m_at + 1);
        if (m_quote == u'\'') {
            if (c == u'\'')
                m_quote = QChar();
            return true;
        }
        if (c == u'\\') {
            ++m_at; // escaped, even a line feed (a continuation)
            return true;
        }
        if (c == u'`' || (c == u'$' && (next == u'(' || next == u'{')))
            return false;
        if (c == u'$' && next == u'\'' && m_quote == QChar())
            return false; // $'…' has escapes of its own, quotes included
        if (m_quote == u'"') {
            if (c == u'"')
                m_quote = QChar();
            return true;
        }
        switch (c.unicode()) {
        case u'\'':
        case u'"':
            m_quote = c;
            return true;
        case u'<':
            if (next == u'&') { // <&N duplicates a descriptor
                ++m_at;
                return true;
            }
            return false; // from a file, a here-document or a process substitution
        case u'>':
            return outputRedirection(m_at + 1);
        case u'&':
            if (next == u'>')
                return outputRedirection(m_at + 2);
            split(next == u'&' ? 2 : 1);
            return true;
        case u'|':
            split(next == u'|' || next == u'&' ? 2 : 1);
            return true;
        case u';':
        case u'\n':
            split(1);
            return true;
        default:
            return true;
        }
    }

    // After ">" (or "&>"): ">>", ">|" and ">&" forms; fine only into /dev/null or onto another
    // descriptor.
    bool outputRedirection(qsizetype i) {
        if (at(i) == u'(')
            return false; // >( … )
        if (at(i) == u'>' || at(i) == u'|')
            ++i;
        bool duplicate = false;
        if (at(i) == u'&') {
            duplicate = true;
            ++i;
        }
        while (at(i) == u' ')
            ++i;
        qsizetype end = i;
        while (end < m_text.size() && !QStringLiteral(" \t\n;&|<>()").contains(m_text.at(end)))
            ++end;
        const QString target = m_text.mid(i, end - i);
        m_at = end - 1;
        if (duplicate) {
            bool number = false;
            target.toInt(&number);
            return number || target == u'-';
        }
        return target == QLatin1String("/dev/null");
    }

    void split(qsizetype operatorLength) {
        endCommand(m_at);
        m_at += operatorLength - 1;
        m_start = m_at + 1;
    }

    void endCommand(qsizetype end) {
        const QStringList words =
            m_text.mid(m_start, end - m_start).split(u' ', Qt::SkipEmptyParts);
        if (!words.isEmpty())
            m_programs.append(words.first());
    }

    const QString& m_text;
    qsizetype m_at = 0;
    qsizetype m_start = 0;
    QChar m_quote;
    QStringList m_programs;
};

} // namespace

std::optional<QStringList> programs(const QString& command) {
    return Scanner(command).run();
}

} // namespace ShellCommand
