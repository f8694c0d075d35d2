#pragma once

#include <QtCore/QList>
#include <QtCore/QString>

#include <functional>

class QVBoxLayout;
class QWidget;

/** A page of the gallery: one piece of the kit with something in it. */
struct VXGalleryPage
{
    QString name;   // of its picture
    QString symbol; // beside its title
    QString title;  // of the table "Gallery"
    std::function<QWidget *()> make;
};

/** In the order of the gallery. */
QList<VXGalleryPage> VXGalleryPages();

/** A text of the gallery in the user's language. */
QString VXGalleryString(const QString &key);

// What pages are put together of.

/** A page with a headline and what the piece is for; in `page` where that is given. */
QWidget *VXMakePage(const QString &title, const QString &text, QVBoxLayout **column, QWidget *page = nullptr);
/** A titled part of a page. */
void VXAddSection(QVBoxLayout &column, const QString &title, QWidget *content);

// The pages, by what they show.
QWidget *VXMakeControlsPage();
QWidget *VXMakeAlertsPage();
QWidget *VXMakeProgressPage();
QWidget *VXMakeSheetPage();
QWidget *VXMakeBezelPage();
QWidget *VXMakeTokensPage();
QWidget *VXMakeTemplatesPage();
QWidget *VXMakeFiltersPage();
QWidget *VXMakeTablesPage();
QWidget *VXMakeActivitiesPage();
QWidget *VXMakeDevicesPage();
QWidget *VXMakeHotKeysPage();
QWidget *VXMakeTransformersPage();
QWidget *VXMakeEmptyPage();
QWidget *VXMakeSymbolsPage();
