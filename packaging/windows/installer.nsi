; The installer for Windows: what is in the zip for users, below Program Files, with an entry in the
; list of installed programs. Built by scripts/dist with VERSION, NUMBERS, FOLDER (the unpacked zip)
; and OUTPUT.
Unicode true
Target amd64-unicode
Name "TessaronBF ${VERSION}"
OutFile "${OUTPUT}"
InstallDir "$PROGRAMFILES64\TessaronBF"
InstallDirRegKey HKLM "Software\TessaronBF" "InstallDir"
RequestExecutionLevel admin
SetCompressor /SOLID lzma
ManifestSupportedOS all
LicenseData "${FOLDER}/LICENSE.txt"
VIProductVersion "${NUMBERS}"
VIAddVersionKey "ProductName" "TessaronBF"
VIAddVersionKey "FileDescription" "Installer of TessaronBF"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "ProductVersion" "${VERSION}"
VIAddVersionKey "LegalCopyright" "Copyright (c) 2026 The TessaronBF authors"

!define UNINSTALL "Software\Microsoft\Windows\CurrentVersion\Uninstall\TessaronBF"

Page license
Page directory
Page instfiles
UninstPage uninstConfirm
UninstPage instfiles

Function .onInit
  SetRegView 64
FunctionEnd

Function un.onInit
  SetRegView 64
FunctionEnd

Section
  SetOutPath "$INSTDIR"
  File /r "${FOLDER}/*"
  WriteUninstaller "$INSTDIR\uninstall.exe"
  WriteRegStr HKLM "Software\TessaronBF" "InstallDir" "$INSTDIR"
  WriteRegStr HKLM "${UNINSTALL}" "DisplayName" "TessaronBF"
  WriteRegStr HKLM "${UNINSTALL}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKLM "${UNINSTALL}" "Publisher" "The TessaronBF authors"
  WriteRegStr HKLM "${UNINSTALL}" "UninstallString" '"$INSTDIR\uninstall.exe"'
  WriteRegDWORD HKLM "${UNINSTALL}" "NoModify" 1
  WriteRegDWORD HKLM "${UNINSTALL}" "NoRepair" 1
SectionEnd

; Only what was installed: the folder may hold files of the user's.
Section "Uninstall"
  !include "${FILES}"
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR"
  DeleteRegKey HKLM "${UNINSTALL}"
  DeleteRegKey HKLM "Software\TessaronBF"
SectionEnd
