#pragma once

#include <QList>
#include <QString>
#include <QUrl>

namespace corvane {

// One item of the Help menu that opens a page of the Corvane website.
struct HelpLink
{
    QString id;    // for the item's object name: "help:roadmap"
    QString title; // the menu item
    QUrl url;
};

// The website's address; every page below lives under it.
QUrl websiteUrl();

// The Help menu's web pages, in menu order.
const QList<HelpLink> &helpLinks();

} // namespace corvane
