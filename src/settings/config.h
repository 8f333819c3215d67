#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "platform/image_list.h"
#include "platform/types.h"
#include "records/record_set.h"
#include "settings/reg_key.h"
#include "tessaron_export.h"
#include "themes/theme_manager.h"

/// An image list that its last holder destroys.
using SharedImageList = std::shared_ptr<std::remove_pointer_t<HIMAGELIST>>;

/// The application's settings, and the folders and resources that follow from them. Nothing is read
/// or made before `Initialize`; settings are then plain members.
///
/// A copy has the same values, takes over the open keys, and shares image lists and theme manager.
/// For one thread at a time; while no thread changes an object, several may read its members.
class TESSARON_API Config {
 public:
  Config();
  ~Config();
  Config(const Config& other);
  Config& operator=(const Config& other);

  bool has32BitDisplay = false;  ///< the display has 32 bits a pixel
  CRegKeyEx optionsKey;
  CRegKeyEx generalStringListKey;
  CRegKeyEx customStringListKey;
  CRegKeyEx dataKey;  ///< for other parts of the application

  // The settings, under the names and in the order of their values. Their defaults stand in the
  // table of settings/setting_table.cpp; before `Initialize` all are zero or empty.
  bool LoadLastCollectionOnStart = false;
  std::u16string LastCollectionFileName;
  bool AutoSaveCollection = false;
  int AutoSaveCollectionInterval = 0;
  int ImageSizePixels = 0;  ///< at most this many pixels in a stored image
  int WebcamDevice = 0;     ///< index of the capture device
  bool WebcamStrictMode = false;
  int InterfaceMode = 0;
  bool RememberWindowPositionSize = false;
  bool EnableSplashScreen = false;
  int CollationOption = 0;  ///< 0 to 3, see CCollationSystem
  bool HideNonRelevantPages = false;
  std::vector<bool> LVShowFields;  ///< 4 flags
  int ItemListingStyle = 0;
  bool HighlightDueItems = false;
  int AmazonECSSite = 0;  ///< which regional site of the product service is asked
  bool UpdatePriceTrackerOnStart = false;
  bool FetchLowPriceOffer = false;
  std::u16string AccountEmail;
  std::vector<std::u16string> CustomIcons;  ///< files
  bool UseCaseInsensitiveSorting = false;
  std::vector<bool> ShowHide;  ///< 22 flags
  int CategoryPanePosition = 0;
  int ListPanePosition = 0;
  int TabPanePosition = 0;
  CRect WindowRect;
  int WindowCmdShow = 0;
  bool SwapCategoryPane = false;
  bool SwapListPane = false;
  int ViewType = 0;
  int SortType = 0;
  std::u16string ThemeFile;  ///< name of a package in the data folder
  int ThemeScheme = 0;       ///< index of a scheme in it
  int WeekLastChecked = 0;   ///< kept by `Initialize` where no value is stored
  bool NewVersion = false;   ///< kept by `Initialize` where no value is stored
  bool ViewToolbar = false;
  bool ViewStatusBar = false;

  StringSetMap generalStringLists;
  StringSetMap customStringLists;

  SharedImageList smallImages;   ///< 16 x 16: the commands (103), then the custom icons
  SharedImageList largeImages;   ///< 32 x 32: the commands (104), then the custom icons
  SharedImageList statusImages;  ///< 16 x 16: the strip 102
  std::shared_ptr<CThemeMan> themeManager;
  CRecordSet priceTracker;

  std::u16string workingDirectory;  ///< the program's folder, without a separator at its end
  std::u16string temporaryFolder;
  std::u16string dataFolder;
  std::u16string helpFilePath;
  std::u16string systemTemporaryPath;         ///< with a separator at its end
  std::uint32_t temporaryFileNameNumber = 0;  ///< of the next temporary file name

  /// Opens or creates the four keys below "Software\Tessaron" and reads all settings: a default
  /// stands wherever there is no such value, or none of its type. Derives the folders and creates
  /// the temporary one, selects the theme (and "DefaultTheme.tpk", scheme 0, where that fails),
  /// fills the image lists, and loads the price tracker.
  ///
  /// 0, or the system's error code when settings could not be read; what can be done without them
  /// is done. Keys that could not be opened or read are then closed, so that the defaults never
  /// replace settings that are still stored. Waits at most ten seconds for other processes.
  std::int32_t Initialize();

  /// Writes all settings and both maps of lists back, in one step where the store can do that. A
  /// list that is empty leaves an older one in the store. 0, or the system's error code when
  /// settings were not written, ERROR_INVALID_HANDLE for closed keys among them. Waits at most ten
  /// seconds for other processes.
  std::int32_t Uninitialize();

  /// Adds the built-in entries of "Region", "ESRBAgeRating" and "MediaTypes" to the general lists.
  void ResetGeneralStringList();

  std::u16string GetWorkingDirectory() const;

  /// A name in the system's temporary folder: "TRT", the number of this call in hexadecimal digits,
  /// ".tmp". There may be such a file already; only the first call, whose number is 0, finds a new
  /// name and makes an empty file. Empty on failure.
  std::u16string GetTempFileNameW();

  COLORREF GetColorHighLight() const;
  COLORREF GetColorHighLightText() const;
  COLORREF GetColorWindowBackground() const;
  COLORREF GetColorWindowText() const;
  COLORREF GetColorBtnHighLight() const;
  COLORREF GetColorBtnFace() const;
  COLORREF GetColorBtnShadow() const;
  COLORREF GetColorMenuText() const;
  /// The highlight of menus with visual styles, the plain one without.
  COLORREF GetColorMenuHighLight() const;
  /// The width of a vertical scroll bar in pixels.
  int GetVScrollWidth() const;

 private:
  std::int32_t openKeys();
  std::int32_t readSettings();
  void loadTheme();
  void loadImages();
};

/// The application's settings object. All image lists read its `has32BitDisplay`, so set that
/// before other threads fill any; nothing guards the object.
extern TESSARON_API Config _Config;
