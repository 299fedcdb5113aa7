@echo off
rem Tries zelkpmreg on this machine and says for each check whether it passed. Run it as administrator
rem on a Windows machine that you do not need: see docs\windows.md. It asks no question, and ends
rem with 0 if no check failed.
setlocal EnableExtensions DisableDelayedExpansion
rem A variable of this name would hide the exit code.
set "errorlevel="
set "system=%SystemRoot%\System32"
rem "for /f" starts this one.
set "ComSpec=%system%\cmd.exe"
set "reg=%system%\reg.exe"
set "here=%~dp0"
set "checks=%here%programs\checks.exe"
rem What the registry was like before. Only administrators can write here, and it stays until all is
rem put back, so that the next start can do that after an interruption.
set "state=%SystemRoot%\zelkpmreg-acceptance"
set "code=1"
mkdir "%state%" >nul 2>&1
rem No second start can write to this file before the first one ends.
call :locked 2>"%state%\errors.txt"
if not defined started echo Run as administrator, and only once at a time. Cannot write to %state%
if defined started if not exist "%state%\before\complete" rd /s /q "%state%" >nul 2>&1
%system%\cmd.exe /d /c exit %code%
goto :eof

:locked
set "started=yes"
for /l %%n in (99,-1,1) do if not exist "%here%report-%%n" set "report=%here%report-%%n"
mkdir "%report%"
if not exist "%report%\." echo Cannot create "%report%"
if not exist "%report%\." exit /b
cd /d "%report%"
if exist "%state%\before\complete" (
    echo An earlier start was interrupted. Putting back what it left.
    call :put_back
)
if exist "%state%\before\complete" exit /b
call :refuse_if_in_use
if defined refused exit /b

rd /s /q "%state%\before" >nul 2>&1
call :export before
if defined refused exit /b
echo yes>"%state%\before\complete"
call :describe >machine.txt 2>&1
rem The user's own temporary folder can have a short name, which a test would compare with a long one.
mkdir "%state%\temp"
set "TMP=%state%\temp"
set "TEMP=%state%\temp"
for %%p in (unit module program) do "%checks%" run %%p_tests "%here%tests\%%p_tests.exe"
"%checks%" differences
call :export after
"%checks%" compare Registry.Unchanged "%state%\before" "%state%\after"
call :put_back
"%checks%" total
if not errorlevel 1 set "code=0"
exit /b

:refuse_if_in_use
for %%v in (64 32) do (
    %reg% query HKLM\SOFTWARE\Orvane /reg:%%v >nul 2>&1
    if not errorlevel 1 set "refused=HKLM\SOFTWARE\Orvane"
    for /f "delims=" %%k in ('%reg% query HKLM\SOFTWARE\ODBC\ODBCINST.INI /reg:%%v 2^>nul ^| %system%\find.exe "ORVANE PELLIMAR"') do set "refused=HKLM\SOFTWARE\ODBC\ODBCINST.INI"
)
if defined refused echo Nothing was changed: the package is in use on this machine. %refused%
exit /b

:export
rem Exports what a run may change to the folder %1.
mkdir "%state%\%1" >nul 2>&1
call :for_each_key export_key %1
mkdir "%report%\%1" >nul 2>&1
copy /y "%state%\%1\*.reg" "%report%\%1" >nul 2>&1
exit /b

:for_each_key
for %%v in (64 32) do (
    call :%1 %2 %%v "HKLM\SOFTWARE\Orvane"
    call :%1 %2 %%v "HKLM\SOFTWARE\ODBC"
    call :%1 %2 %%v "HKLM\SOFTWARE\Microsoft\MSDTC\XADLL"
    call :%1 %2 %%v "HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall"
    call :%1 %2 %%v "HKLM\SOFTWARE\Classes\CLSID\{5D3C9B7A-1F60-4E8B-9B5E-0A7C31E6D2F4}"
    call :%1 %2 %%v "HKCU\Software\Microsoft\Command Processor"
)
exit /b

:export_key
set "file=%state%\%1\%~n3-%2.reg"
if exist "%file%" del "%file%"
%reg% export "%~3" "%file%" /y /reg:%2 >nul 2>&1
if exist "%file%" exit /b
rem No file means that there is no such key, and nothing else.
%reg% query "%~3" /reg:%2 >nul 2>&1
if errorlevel 1 exit /b
set "refused=yes"
echo Cannot export %~3
exit /b

:import_key
set "file=%state%\%1\%~n3-%2.reg"
if exist "%file%" %reg% import "%file%" /reg:%2 >nul 2>&1
exit /b

:put_back
for %%b in (64 32) do (
    %system%\schtasks.exe /delete /f /tn zelkpmreg-tests-%%b >nul 2>&1
    rd /s /q "%SystemDrive%\zelkpmreg-tests-%%b" >nul 2>&1
)
for %%r in (HKCU HKU\.DEFAULT) do for /f "delims=" %%k in ('%reg% query %%r\Software 2^>nul ^| %system%\find.exe "\zelkpmreg-"') do %reg% delete "%%k" /f >nul 2>&1
call :export now
"%checks%" clean "%state%\before" "%state%\now"
call :for_each_key import_key before
call :export restored
"%checks%" compare Registry.PutBack "%state%\before" "%state%\restored"
if not errorlevel 1 goto all_put_back
echo Start accept.cmd again to try once more. The exports are in %state%\before
exit /b
:all_put_back
del "%state%\before\complete"
exit /b

:describe
ver
echo %DATE% %TIME%
"%checks%" about
chcp
%reg% query "HKLM\SOFTWARE\Microsoft\Windows NT\CurrentVersion"
%reg% query "HKLM\SYSTEM\CurrentControlSet\Control\Nls\CodePage" /v ACP
%reg% query "HKLM\SYSTEM\CurrentControlSet\Control\Nls\CodePage" /v OEMCP
%reg% query "HKLM\SYSTEM\CurrentControlSet\Control\Nls\Language"
%system%\fsutil.exe 8dot3name query %SystemDrive%
dir /x %SystemDrive%\
%reg% query "HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Policies\System"
exit /b
