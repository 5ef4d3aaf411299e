// SPDX-License-Identifier: MIT
#include "Appcast.h"

#include <QXmlStreamReader>

namespace Appcast {
namespace {

constexpr char sparkleNamespace[] = "http://www.andymatuschak.org/xml-namespaces/sparkle";

struct Part {
    bool number;
    qulonglong value;
    QString text;
};

std::vector<Part> parts(const QString& version) {
    std::vector<Part> out;
    for (qsizetype i = 0; i < version.size();) {
        const bool digit = version[i].isDigit();
        const bool letter = version[i].isLetter();
        qsizetype j = i + 1;
        while (j < version.size() && (digit    ? version[j].isDigit()
                                      : letter ? version[j].isLetter()
                                               : !version[j].isLetterOrNumber()))
            ++j;
        const QString piece = version.mid(i, j - i);
        if (digit)
            out.push_back({true, piece.toULongLong(), {}});
        else if (letter)
            out.push_back({false, 0, piece});
        i = j;
    }
    return out;
}

} // namespace

int compareVersions(const QString& a, const QString& b) {
    const auto pa = parts(a);
    const auto pb = parts(b);
    for (size_t i = 0; i < std::max(pa.size(), pb.size()); ++i) {
        // One ran out: a letter part left on the other is a pre-release of this one.
        if (i >= pa.size())
            return pb[i].number ? -1 : 1;
        if (i >= pb.size())
            return pa[i].number ? 1 : -1;
        if (pa[i].number != pb[i].number)
            return pa[i].number ? 1 : -1;
        if (pa[i].number && pa[i].value != pb[i].value)
            return pa[i].value < pb[i].value ? -1 : 1;
        if (!pa[i].number) {
            if (const int c = pa[i].text.compare(pb[i].text); c != 0)
                return c < 0 ? -1 : 1;
        }
    }
    return 0;
}

std::vector<Item> parse(const QByteArray& xml) {
    std::vector<Item> items;
    QXmlStreamReader reader(xml);
    const QString sparkle = QLatin1String(sparkleNamespace);
    std::optional<Item> item;
    QUrl notes, download;
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement()) {
            const auto name = reader.name();
            const bool ours = reader.namespaceUri() == sparkle;
            if (name == QLatin1String("item") && reader.namespaceUri().isEmpty()) {
                item = Item{};
                notes = download = QUrl();
            } else if (!item) {
                continue;
            } else if (name == QLatin1String("title") && !ours) {
                item->title = reader.readElementText().trimmed();
            } else if (name == QLatin1String("link") && !ours) {
                item->link = QUrl(reader.readElementText().trimmed());
            } else if (ours && name == QLatin1String("version")) {
                item->version = reader.readElementText().trimmed();
            } else if (ours && name == QLatin1String("shortVersionString")) {
                item->shortVersion = reader.readElementText().trimmed();
            } else if (ours && name == QLatin1String("releaseNotesLink")) {
                notes = QUrl(reader.readElementText().trimmed());
            } else if (name == QLatin1String("enclosure")) {
                const auto attrs = reader.attributes();
                download = QUrl(attrs.value(QLatin1String("url")).toString());
                if (item->version.isEmpty())
                    item->version = attrs.value(sparkle, QLatin1String("version")).toString();
                if (item->shortVersion.isEmpty())
                    item->shortVersion =
                        attrs.value(sparkle, QLatin1String("shortVersionString")).toString();
            }
        } else if (reader.isEndElement() && reader.name() == QLatin1String("item") && item) {
            if (item->link.isEmpty())
                item->link = notes.isEmpty() ? download : notes;
            if (!item->displayVersion().isEmpty())
                items.push_back(*item);
            item.reset();
        }
    }
    if (reader.hasError())
        return {};
    return items;
}

std::optional<Item> newestAfter(const std::vector<Item>& items, const QString& current) {
    std::optional<Item> best;
    for (const Item& item : items) {
        if (compareVersions(item.displayVersion(), current) <= 0)
            continue;
        if (!best || compareVersions(item.displayVersion(), best->displayVersion()) > 0)
            best = item;
    }
    return best;
}

} // namespace Appcast
