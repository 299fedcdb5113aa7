@echo off
rem install.cmd NAME [FOLDER]: copies the package, the parent of this folder, and registers or upgrades it.
rem While it copies, ~new has the new files and ~old those that they replace: all are replaced, or none.
setlocal EnableExtensions DisableDelayedExpansion
set "dir=%~2"
if not defined dir set "dir=@ZELK_INSTALL_FOLDER@"
for %%p in ("%~dp0..") do set "from=%%~fp"
set "log=%SystemRoot%\Logs\zelkpmreg-install.log"
set "code=5" & set "failed="
call :install %1 >>"%log%" 2>&1
echo install.cmd ended with %code%. Log: "%log%"
exit /b %code%
:install
echo %DATE% %TIME% install.cmd "%~1" "%dir%", from "%from%", on %COMPUTERNAME%
"%from%\bin\zelkpmutil.exe" files "%dir%"
set "code=%errorlevel%"
if not "%code%"=="0" exit /b
if /i "%from%"=="%dir%" goto register
if exist "%dir%\~old" call :put_back
if exist "%dir%\~new" rd /s /q "%dir%\~new"
if exist "%dir%\~new" set "failed=yes"
if not defined failed "%SystemRoot%\System32\xcopy.exe" "%from%\*" "%dir%\~new\~" /e /i /q /r /y <nul
if not "%errorlevel%"=="0" set "failed=yes"
set "count=0"
for /r "%from%" %%f in (*) do set /a count+=1 >nul
for /r "%dir%\~new\~" %%f in (*) do set /a count-=1 >nul
if not "%count%"=="0" set "failed=yes"
for /r "%dir%\~new\~" %%f in (*) do (
    set "file=%%f"
    if not defined failed call :place keep
)
if defined failed call :put_back & echo The files could not be written. & set "code=29" & exit /b
if exist "%dir%\deploy\files.txt" for /f "usebackq eol=| delims=" %%f in ("%dir%\deploy\files.txt") do if not exist "%from%\%%~f" del /f /q "%dir%\%%~f"
move /y "%dir%\~new\files.txt" "%dir%\deploy\files.txt" >nul
rd /s /q "%dir%\~new" "%dir%\~old" 2>nul
:register
"%dir%\bin\zelkpmutil.exe" upgrade %~1 -i EN
set "code=%errorlevel%" & exit /b
:place
set "name=%file:*\~\=%"
if "%1"=="keep" for %%s in ("%from%\%name%") do for %%n in ("%file%") do if not "%%~zs"=="%%~zn" set "failed=yes"
if defined failed exit /b
for %%d in ("%dir%\%name%" "%dir%\~old\~\%name%") do if not exist "%%~dpd" md "%%~dpd"
if "%1"=="keep" if exist "%dir%\%name%" move /y "%dir%\%name%" "%dir%\~old\~\%name%" >nul
if "%1"=="keep" if exist "%dir%\%name%" set "failed=yes"
if not defined failed move /y "%file%" "%dir%\%name%" >nul
if exist "%file%" set "failed=yes"
if "%1"=="keep" if not defined failed echo "%name%">>"%dir%\~new\files.txt"
exit /b
:put_back
set "failed="
if exist "%dir%\~new\files.txt" for /f "usebackq eol=| delims=" %%f in ("%dir%\~new\files.txt") do if not exist "%dir%\~old\~\%%~f" del /f /q "%dir%\%%~f"
for /r "%dir%\~old" %%f in (*) do (
    set "file=%%f"
    call :place
)
if not defined failed rd /s /q "%dir%\~new" "%dir%\~old" 2>nul
