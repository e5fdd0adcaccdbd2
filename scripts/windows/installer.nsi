; The installer: for the user who runs it, without an administrator's rights.
; makensis -DVERSION=… -DSOURCE=<the packed folder> -DOUTPUT=<the installer> installer.nsi
Unicode true
Target amd64-unicode ; as the programs are
!include MUI2.nsh

!define NAME "PDeviceMdc"
!define KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\${NAME}"

Name "${NAME} ${VERSION}"
OutFile "${OUTPUT}"
RequestExecutionLevel user
InstallDir "$LOCALAPPDATA\Programs\${NAME}"
InstallDirRegKey HKCU "${KEY}" "InstallLocation"
SetCompressor zlib ; a third larger than the best, in a tenth of the time

!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

; What a version before has put here. The user's own files in the folder stay.
!macro RemoveProgram
  RMDir /r "$INSTDIR\bin"
  RMDir /r "$INSTDIR\plugins"
  RMDir /r "$INSTDIR\qt"
  RMDir /r "$INSTDIR\translations"
  RMDir /r "$INSTDIR\include"
  RMDir /r "$INSTDIR\lib"
  RMDir /r "$INSTDIR\docs"
  RMDir /r "$INSTDIR\licences"
  Delete "$INSTDIR\README.md"
  Delete "$INSTDIR\CHANGELOG.md"
!macroend

Section
  ; Nothing of a folder that somebody has chosen for something else.
  IfFileExists "$INSTDIR\uninstall.exe" 0 fresh
  !insertmacro RemoveProgram
  ; A configuration may have been changed there: it is kept as the one of before.
  RMDir /r "$INSTDIR\configurations.before"
  Rename "$INSTDIR\configurations" "$INSTDIR\configurations.before"
  fresh:
  SetOutPath "$INSTDIR"
  File /r "${SOURCE}\*.*"
  WriteUninstaller "$INSTDIR\uninstall.exe"
  CreateDirectory "$SMPROGRAMS\${NAME}"
  SetOutPath "$INSTDIR\bin" ; where the shortcuts start
  CreateShortcut "$SMPROGRAMS\${NAME}\Maintenance page.lnk" "$INSTDIR\bin\mdc-panel.exe"
  CreateShortcut "$SMPROGRAMS\${NAME}\Command line.lnk" "$SYSDIR\cmd.exe" '/k "$INSTDIR\bin\mdc-bench.exe" --help'
  CreateShortcut "$SMPROGRAMS\${NAME}\Documentation.lnk" "$INSTDIR\docs"
  CreateShortcut "$SMPROGRAMS\${NAME}\Uninstall.lnk" "$INSTDIR\uninstall.exe"
  WriteRegStr HKCU "${KEY}" "DisplayName" "${NAME} ${VERSION}"
  WriteRegStr HKCU "${KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKCU "${KEY}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKCU "${KEY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKCU "${KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKCU "${KEY}" "NoModify" 1
  WriteRegDWORD HKCU "${KEY}" "NoRepair" 1
SectionEnd

Section Uninstall
  !insertmacro RemoveProgram
  RMDir /r "$INSTDIR\configurations"
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR" ; not when there is something of the user's
  RMDir /r "$SMPROGRAMS\${NAME}"
  DeleteRegKey HKCU "${KEY}"
SectionEnd
