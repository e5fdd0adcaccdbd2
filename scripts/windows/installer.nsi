; The installer: for the user who runs it, without an administrator's rights.
; makensis -DVERSION=… -DSOURCE=<the packed folder> -DFILES=<of installed_files.py> -DOUTPUT=<the installer> installer.nsi
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

!define MUI_PAGE_CUSTOMFUNCTION_LEAVE leaveFolderPage
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

!include "${FILES}"

; Into $1 what is there already and is not of a version before; "" where the folder may be used.
Function findInTheWay
  StrCpy $1 ""
  ReadRegStr $0 HKCU "${KEY}" "InstallLocation"
  StrCmp $0 $INSTDIR found
  !insertmacro FindInTheWay
  IfFileExists "$INSTDIR\uninstall.exe" 0 found
  StrCpy $1 "$INSTDIR\uninstall.exe"
  found:
FunctionEnd

!define IN_THE_WAY "$1 is there already, and not of ${NAME}. Choose another folder."

Function leaveFolderPage
  Call findInTheWay
  StrCmp $1 "" good
  MessageBox MB_OK|MB_ICONSTOP "${IN_THE_WAY}"
  Abort
  good:
FunctionEnd

Section
  Call findInTheWay ; nobody sees the page of a silent installation
  StrCmp $1 "" good
  SetErrorLevel 3
  MessageBox MB_OK|MB_ICONSTOP "${IN_THE_WAY}" /SD IDOK
  Quit
  good:
  StrCmp $0 $INSTDIR 0 fresh
  ; A configuration may have been changed there: it is kept as the one of before, beside older ones.
  StrCpy $2 "$INSTDIR\configurations.before"
  StrCpy $3 1
  IfFileExists "$2\*.*" 0 +4
  IntOp $3 $3 + 1
  StrCpy $2 "$INSTDIR\configurations.before$3"
  Goto -3
  Rename "$INSTDIR\configurations" $2
  ExecWait '"$INSTDIR\uninstall.exe" /S _?=$INSTDIR'
  fresh:
  ; First, so that what is broken off here can be installed again.
  WriteRegStr HKCU "${KEY}" "InstallLocation" "$INSTDIR"
  SetOutPath "$INSTDIR"
  WriteUninstaller "$INSTDIR\uninstall.exe"
  File /r "${SOURCE}\*.*"
  CreateDirectory "$SMPROGRAMS\${NAME}"
  SetOutPath "$INSTDIR\bin" ; where the shortcuts start
  CreateShortcut "$SMPROGRAMS\${NAME}\Maintenance page.lnk" "$INSTDIR\bin\mdc-panel.exe"
  CreateShortcut "$SMPROGRAMS\${NAME}\Command line.lnk" "$SYSDIR\cmd.exe" '/k "$INSTDIR\bin\mdc-bench.exe" --help'
  CreateShortcut "$SMPROGRAMS\${NAME}\Documentation.lnk" "$INSTDIR\docs"
  CreateShortcut "$SMPROGRAMS\${NAME}\Uninstall.lnk" "$INSTDIR\uninstall.exe"
  WriteRegStr HKCU "${KEY}" "DisplayName" "${NAME} ${VERSION}"
  WriteRegStr HKCU "${KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKCU "${KEY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKCU "${KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKCU "${KEY}" "NoModify" 1
  WriteRegDWORD HKCU "${KEY}" "NoRepair" 1
SectionEnd

Section Uninstall
  !insertmacro RemoveInstalled
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR" ; not when there is something of the user's
  RMDir /r "$SMPROGRAMS\${NAME}"
  DeleteRegKey HKCU "${KEY}"
SectionEnd
