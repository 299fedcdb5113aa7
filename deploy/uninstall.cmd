@echo off
rem uninstall.cmd NAME [FOLDER]: unregisters the copy, and deletes the files that install.cmd copied.
setlocal EnableExtensions DisableDelayedExpansion
set "dir=%~2"
if not defined dir set "dir=@ZELK_INSTALL_FOLDER@"
set "log=%SystemRoot%\Logs\zelkpmreg-install.log"
set "code=5"
call :uninstall %1 >>"%log%" 2>&1
echo uninstall.cmd ended with %code%. Log: "%log%"
if not "%code%"=="0" exit /b %code%
rem One line, because this file can be one of the last two of the copy.
del /f /q "%dir%\deploy\uninstall.cmd" "%dir%\deploy\files.txt" 2>nul & rd "%dir%\deploy" 2>nul & rd "%dir%" 2>nul & exit /b 0
:uninstall
echo %DATE% %TIME% uninstall.cmd "%~1" "%dir%", on %COMPUTERNAME%
set "registered="
set "tool=%dir%\bin\zelkpmutil.exe"
"%SystemRoot%\System32\reg.exe" query "HKLM\SOFTWARE\Orvane\Zelk\InstalledCopies\%~1" /reg:@ZELK_BITS@ >nul 2>&1
if "%errorlevel%"=="0" set "registered=yes"
set "code=2"
if not exist "%tool%" if defined registered echo %~1 is registered, but there is no "%tool%". Run install.cmd first. & exit /b
if not exist "%tool%" goto delete
"%tool%" files
set "code=%errorlevel%"
if not "%code%"=="0" exit /b
if not defined registered goto delete
"%tool%" unregister %~1 -i EN
set "code=%errorlevel%"
if not "%code%"=="0" exit /b
:delete
set "code=2"
if not exist "%dir%\deploy\files.txt" if exist "%tool%" echo install.cmd did not copy these files: no files.txt. & exit /b
set "code=0"
if not exist "%dir%\deploy\files.txt" exit /b
for /f "usebackq eol=| delims=" %%f in ("%dir%\deploy\files.txt") do (
    set "name=%%~f"
    call :remove
)
exit /b
:remove
if /i "%name%"=="deploy\uninstall.cmd" exit /b
del /f /q "%dir%\%name%" 2>nul
if exist "%dir%\%name%" set "code=32"
if exist "%dir%\%name%" echo Not deleted: "%dir%\%name%"
rd "%dir%\%name%\.." 2>nul
rd "%dir%\%name%\..\.." 2>nul
