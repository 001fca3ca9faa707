#pragma once

#include "geo/CoordinateFormat.h"
#include "maps/MapInfo.h"
#include "maps/PositionPair.h"
#include "maps/ReferenceFields.h"
#include "maps/TileSources.h"

#include <QDialog>
#include <QString>

#include <optional>
#include <vector>

class QComboBox;
class QLineEdit;
class QPushButton;
class QTreeWidget;

/// "Reference Points": adds, updates and removes the calibration pairs of a working copy, with
/// positions typed in the user's coordinate format. The caller takes GetPairs() on OK.
class CReferencePointsDialog : public QDialog
{
    Q_OBJECT

public:
    /// `proposed` fills the form at first: the pair "Add" makes unless something is typed.
    CReferencePointsDialog(std::vector<CPositionPair> pairs, const CPositionPair &proposed,
                           CoordinateFormat format, QWidget *parent = nullptr);

    /// Newest first, as listed: calibration takes the first and the last.
    [[nodiscard]] std::vector<CPositionPair> GetPairs() const { return m_pairs; }
    /// Refused, with a message, while the first and last pair give no scale.
    void accept() override;

private:
    void ShowFields(const CReferenceFields &fields);
    [[nodiscard]] CReferenceFields ReadFields() const;
    void OnSelectionChanged();
    void OnAdd();
    void OnUpdate();
    void OnRemove();

    std::vector<CPositionPair> m_pairs;
    // What the form shows: a text that is no number keeps this pair's value.
    CPositionPair m_edited;
    CoordinateFormat m_format;

    QLineEdit *m_name = nullptr;
    QLineEdit *m_longitude = nullptr;
    QComboBox *m_longitudeHemisphere = nullptr;
    QLineEdit *m_latitude = nullptr;
    QComboBox *m_latitudeHemisphere = nullptr;
    QLineEdit *m_zone = nullptr;
    QLineEdit *m_x = nullptr;
    QLineEdit *m_y = nullptr;
    QPushButton *m_remove = nullptr;
    QPushButton *m_update = nullptr;
    QTreeWidget *m_list = nullptr;
};

/// "Select Map...": picks the map to show, and renames, removes or repoints maps of a working
/// copy of the list. The caller takes GetMaps() and GetChosenIndex() on OK.
class CSelectMapDialog : public QDialog
{
    Q_OBJECT

public:
    CSelectMapDialog(CMapList maps, bool advancedFileSelector, QWidget *parent = nullptr);

    [[nodiscard]] CMapList GetMaps() const { return m_maps; }
    /// The row selected last, into GetMaps(); -1 when none was or it was removed.
    [[nodiscard]] int GetChosenIndex() const { return m_chosen; }

private:
    void OnSelectionChanged();
    void OnUpdate();
    void OnRemove();
    void OnBrowse();

    CMapList m_maps;
    bool m_advancedFileSelector;
    int m_chosen = -1;

    QTreeWidget *m_list = nullptr;
    QLineEdit *m_file = nullptr;
    QLineEdit *m_name = nullptr;
    QPushButton *m_update = nullptr;
    QPushButton *m_remove = nullptr;
    QPushButton *m_browse = nullptr;
};

/// Asks how a tile folder numbers its rows, `detected` chosen at first; none on cancel.
std::optional<TileRowOrder> ChooseTileRowOrder(QWidget *parent, TileRowOrder detected);

/// The open dialog's filters for map bitmaps: every format the installed image plugins read and
/// MBTiles, then all files.
[[nodiscard]] QString ImageFileFilter();
