#pragma once

#include <QtCore/QList>
#include <QtCore/QString>

#include <functional>

class QVBoxLayout;
class QWidget;

/** A page of the gallery: a component of the kit with sample contents. */
struct VXGalleryPage
{
    QString name;   // of its picture
    QString symbol; // beside its title
    QString title;  // a key of the table "Gallery"
    std::function<QWidget *()> make;
};

/** In the order of the gallery. */
QList<VXGalleryPage> VXGalleryPages();

/** A text of the gallery in the user's language. */
QString VXGalleryString(const QString &key);

// Parts of pages.

/** Makes a page with a headline and an explanation; in `page` if given. */
QWidget *VXMakePage(const QString &title, const QString &text, QVBoxLayout **column, QWidget *page = nullptr);
/** A titled part of a page. */
void VXAddSection(QVBoxLayout &column, const QString &title, QWidget *content);

// The pages by subject.
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
