#pragma once

#include "applogicexport.h"

#include <QObject>

// The application's word that its catalogue of content is known, or could not be fetched. Either
// is the collection controllers' start signal; the application raises it once it has settled
// after start-up and again whenever the catalogue is refreshed. Main thread.
namespace EditorCollection {

class APPLOGIC_EXPORT CatalogueProtocol : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    ~CatalogueProtocol() override;

signals:
    void catalogueListRetrieved();
    void catalogueListRequestFailed();
};

} // namespace EditorCollection
