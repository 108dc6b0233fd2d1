#include "core/window/HelpLinks.h"

namespace corvane {

QUrl websiteUrl()
{
    return QUrl(QStringLiteral("https://corvane.dev/"));
}

const QList<HelpLink> &helpLinks()
{
    auto page = [](const char *path) { return websiteUrl().resolved(QUrl(QString::fromLatin1(path))); };
    static const QList<HelpLink> links{
        {QStringLiteral("website"), QStringLiteral("Corvane Website"), websiteUrl()},
        {QStringLiteral("roadmap"), QStringLiteral("Roadmap"), page("roadmap")},
        {QStringLiteral("blog"), QStringLiteral("Blog"), page("blog")},
        {QStringLiteral("featureRequest"), QStringLiteral("Request a Feature…"), page("feedback/feature")},
        {QStringLiteral("issue"), QStringLiteral("Report an Issue…"), page("feedback/issue")},
        {QStringLiteral("message"), QStringLiteral("Send Us a Message…"), page("contact")},
        {QStringLiteral("donate"), QStringLiteral("Support Corvane…"), page("donate")},
    };
    return links;
}

} // namespace corvane
