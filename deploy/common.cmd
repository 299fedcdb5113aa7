@echo off
rem Shared by register.cmd, upgrade.cmd, unregister.cmd and verify.cmd. They start this file without
rem "call", which would change each caret and each percent sign of a path.
rem
rem Texts from the registry and from paths can contain characters of the command language. They are
rem set and compared within quotes, printed by :show and :report only, and never passed to "call".
setlocal EnableExtensions DisableDelayedExpansion
rem A variable of this name would hide the exit code.
set "errorlevel="
set "system=%SystemRoot%\System32"
rem "for /f" starts this one.
set "ComSpec=%system%\cmd.exe"
set "reg=%system%\reg.exe"
set "view=/reg:@ZELK_BITS@"
set "copies=SOFTWARE\Orvane\Zelk\InstalledCopies"
set "entries=SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall"
set "drivers=SOFTWARE\ODBC\ODBCINST.INI"
set "sources=SOFTWARE\ODBC\ODBC.INI"
set "classes=SOFTWARE\Classes\CLSID"
set "xa=SOFTWARE\Microsoft\MSDTC\XADLL"
set "deploy=%~dp0"
set "what=%~1"
set "name=%~2"
set "given="
set "log="
set "default="
set "work="
set "bad="
set "about="

for %%w in (register upgrade unregister verify) do if "%what%"=="%%w" goto start
echo Run register.cmd, upgrade.cmd, unregister.cmd, or verify.cmd.
set "code=87"
goto end

:start
if "%name%"=="/?" goto help
if /i "%name%"=="/h" goto help
if /i "%name%"=="-h" goto help
call :check_name
if defined bad goto refuse_argument
shift
shift
:next_argument
if [%1]==[] goto prepare
set "argument=%~1."
set "option=%argument:~0,2%"
if "%option%"=="/?" goto help
if "%option:~0,1%"=="/" set "option=-%option:~1%"
if /i "%option%"=="-h" goto help
if /i "%option%"=="-d" set "default=asked"
if /i "%option%"=="-l" set "log=%~2"
set "shown=%what%.cmd does not take this option: %~1"
for %%o in (-c -u) do if /i "%option%"=="%%o" goto refuse_argument
if /i "%what%%option%"=="upgrade-r" goto refuse_argument
if not "%what%"=="verify" goto pass_argument
if /i not "%option%"=="-d" goto refuse_argument
:pass_argument
set given=%given% "%~1"
shift
goto next_argument

:check_name
rem Sets bad if zelkpmreg.exe would refuse the name, and shown to the reason.
set "bad=yes"
set "shown=Specify the name of the copy. For help, run %what%.cmd /?"
if not defined name exit /b
set "shown=Not a valid name: use up to 64 letters, digits, and underscores, and no digit first."
set "first=%name:~0,64%"
if not "%first%"=="%name%" exit /b
for %%d in (0 1 2 3 4 5 6 7 8 9) do if "%first:~0,1%"=="%%d" exit /b
set "bad="
rem Valid characters are separators here, so only a name with another character has a token.
set "valid=abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_"
for /f "eol=_ delims=%valid%" %%t in ("x%name%") do set "bad=%%t"
exit /b

:refuse_argument
set "code=87"
goto show_end

:help
goto help_%what%

:help_register
echo register.cmd NAME [options]
echo.
echo Registers the copy in the parent folder as NAME and verifies the registration.
echo Ends with 0 if the copy is registered completely, also if it already was.
goto help_options

:help_upgrade
echo upgrade.cmd NAME [options]
echo.
echo Registers the copy in the parent folder again after its files were replaced. Keeps the system data
echo sources, the connection time-out, and the default client interface copy.
goto help_options

:help_unregister
echo unregister.cmd NAME [options]
echo.
echo Unregisters the copy in the parent folder and reports what is left of it.
echo Ends with 0 if nothing is left, also if the copy was not registered.

:help_options
echo.
echo Options are those of zelkpmreg.exe, but not -c and -u, nor -r with upgrade.cmd.
echo The default log file is %%ProgramData%%\Orvane\Logs\NAME-%what%-DATE-TIME.log.
set "code=0"
goto end

:help_verify
echo verify.cmd NAME [-d]
echo.
echo Reports whether each part of the registration is ok, MISSING, or WRONG. Changes nothing.
echo With -d, the copy must be the default client interface copy, too.
echo Ends with 0 if all parts are ok, otherwise with 1.
set "code=0"
goto end

rem ----------------------------------------------------------------------------------------------
rem The copy, and the folders that a run needs

:prepare
set "dir="
for %%i in ("%deploy%..") do set "dir=%%~fi"
if not "%dir:~-1%"=="\" set "dir=%dir%\"
call :find_copies
set "tool=%dir%bin\zelkpmreg.exe"
set "driver=ORVANE PELLIMAR for ODBC - %dir:\=/%"
set "library=%dir%BIN\ZELKAPP.DLL"
set "provider=%dir%bin\orvanedazelk.dll"
set "record=%copies%\%name%"
set "entry=%entries%\%name%"
if "%what%"=="verify" goto verify

set "shown=File not found: %tool%"
set "code=2"
if not exist "%tool%" goto show_end
set "code=5"
call :make_work_folder
if defined bad goto show_end
if not defined log call :choose_log
if defined bad goto show_end
set "TMP=%work%"
set "TEMP=%work%"
goto %what%

:find_copies
rem Sets recorded to the path that is registered for the name, and other to another name that is
rem registered for this folder. Gives name and dir the registered spelling, because zelkpmreg.exe
rem compares them as text.
set "recorded="
set "other="
set "here="
set "found="
set "wanted=%name%"
for %%i in ("%dir%.") do set "short=%%~fsi"
for /f "delims=" %%l in ('%reg% query "HKLM\%copies%" /s /v "Zelk Path Name" %view% 2^>nul') do (
    set "line=%%l"
    call :find_copy
)
if not defined here exit /b
if "%here%"=="%dir%" exit /b
set "dir=%here%"
set "shown=Using the path as it is registered: %dir%"
call :show
exit /b

:find_copy
rem Remembers the name in the line of a key, for the line of its value.
set "line=%line:"=%"
set "data=%line:*\InstalledCopies\=%"
if not "%data%"=="%line%" set "found=%data%"
set "data=%line:*_SZ    =%"
if not defined found exit /b
if "%data%"=="%line%" exit /b
set "mine="
if /i "%found%"=="%wanted%" set "mine=yes"
if defined mine set "name=%found%"
if defined mine set "recorded=%data%"
if not "%data:~-1%"=="\" exit /b
set "same="
if /i "%data%"=="%dir%" set "same=yes"
for %%i in ("%data%.") do if /i "%%~fsi"=="%short%" set "same=yes"
if not defined same exit /b
if not defined mine set "other=%found%"
if not defined here set "here=%data%"
if defined mine set "here=%data%"
exit /b

:make_work_folder
rem The temporary folder of this run. It is a new one, so nobody else owns it.
set "folder=%SystemRoot%\Temp\zelkpmreg-%RANDOM%-%RANDOM%"
set "shown=Cannot create a protected folder. Run as administrator. %folder%"
mkdir "%folder%" >nul
if not "%errorlevel%"=="0" set "bad=yes"
if defined bad exit /b
set "work=%folder%"
call :protect
for /f "delims=" %%f in ('dir /b /a "%folder%" 2^>nul') do set "bad=yes"
exit /b

:choose_log
rem Ordinary users can create the two folders first, as links or with rights of their own.
set "logs=%ProgramData%\Orvane\Logs"
set "folder=%ProgramData%\Orvane"
call :make_log_folder
if not defined bad call :own
if defined bad exit /b
set "folder=%logs%"
call :make_log_folder
if defined bad exit /b
call :protect
if defined bad exit /b
rem The date and time in the format of the system: only their digits are in every language.
set "text=%DATE%-%TIME%"
set "stamp="
set "gap="
:next_letter
set "digit="
for %%d in (0 1 2 3 4 5 6 7 8 9) do if "%text:~0,1%"=="%%d" set "digit=%%d"
if defined digit set "stamp=%stamp%%gap%%digit%"
if defined digit set "gap="
if not defined digit if defined stamp set "gap=-"
set "text=%text:~1%"
if defined text goto next_letter
:next_log
set "log=%logs%\%name%-%what%-%stamp%.log"
set "stamp=%stamp%-%RANDOM%"
if exist "%log%" goto next_log
set given=%given% -l "%log%"
exit /b

:make_log_folder
set "shown=Not a folder, or a link. Delete it, or specify a log file with -l. %folder%"
if not exist "%folder%" mkdir "%folder%" >nul
set "attributes=-"
for %%i in ("%folder%") do set "attributes=%%~ai"
if not "%attributes:~0,1%"=="d" set "bad=yes"
if not "%attributes%"=="%attributes:l=%" set "bad=yes"
exit /b

:own
rem The owner of a folder can always change its rights. The errors of icacls.exe are shown.
%system%\icacls.exe "%folder%" /setowner *S-1-5-32-544 /q >nul
if "%errorlevel%"=="0" exit /b
set "bad=yes"
set "shown=Cannot set the owner of this folder. Run as administrator. %folder%"
exit /b

:protect
rem Administrators and the system only. The reset removes rights that others gave.
call :own
%system%\icacls.exe "%folder%" /reset /q >nul
if not "%errorlevel%"=="0" set "bad=yes"
%system%\icacls.exe "%folder%" /inheritance:r /grant:r "*S-1-5-32-544:(OI)(CI)F" "*S-1-5-18:(OI)(CI)F" /q >nul
if not "%errorlevel%"=="0" set "bad=yes"
if defined bad set "shown=Cannot protect this folder. Run as administrator. %folder%"
exit /b

rem ----------------------------------------------------------------------------------------------
rem register.cmd

:register
call :find_foreign_entry
set "shown=%name% is the key of another product in the list of installed programs. Use another name."
set "code=183"
if defined foreign goto show_end
call :run -c
if "%code%"=="0" goto registered
if not "%code%"=="-101" goto end

:registered
call :verify_parts
if defined bad if "%code%"=="0" set "code=1"
if not defined bad set "code=0"
goto end

rem ----------------------------------------------------------------------------------------------
rem upgrade.cmd: without its record the copy counts as new. Its driver is then installed on top of
rem the old one, which keeps the data sources and the time-out. -r would remove the driver first.

:upgrade
set "shown=This folder is also registered as %other%. Unregister one of the two names first."
set "code=-106"
if defined other goto show_end
set "key=%record%"
call :has_key
if not defined there goto register
if not defined recorded set "recorded=%dir%"
set "shown=%name% is registered for another folder: %recorded%"
set "code=-108"
if not "%recorded%"=="%dir%" goto show_end
set "key=%copies%"
set "value=defaultClientInterfaceCopy"
call :read
if "%data%"=="%name%" set "default=kept"
if "%default%"=="kept" set given=%given% -d
set "saved=SOFTWARE\Orvane\Zelk\TEMP\RECORD_%name%"
set "shown=Cannot move the record of %name%. Run as administrator."
set "code=5"
%reg% copy "HKLM\%record%" "HKLM\%saved%" /s /f %view% >nul 2>&1
if not "%errorlevel%"=="0" goto show_end
%reg% delete "HKLM\%record%" /f %view% >nul 2>&1
if not "%errorlevel%"=="0" goto upgrade_back
call :run -c
set "key=%record%"
call :has_key
if defined there goto upgrade_done
set "shown=The upgrade did not run. The previous record is restored."
if "%code%"=="0" set "code=1"

:upgrade_back
%reg% copy "HKLM\%saved%" "HKLM\%record%" /s /f %view% >nul 2>&1
if not "%errorlevel%"=="0" goto upgrade_lost
%reg% delete "HKLM\%saved%" /f %view% >nul 2>&1
goto show_end

:upgrade_lost
set "shown=Cannot restore the record of %name%. Copy it back from HKLM\%saved%."
goto show_end

:upgrade_done
%reg% delete "HKLM\%saved%" /f %view% >nul 2>&1
if "%code%"=="0" goto registered
goto end

rem ----------------------------------------------------------------------------------------------
rem unregister.cmd

:unregister
call :find_foreign_entry
if not defined foreign goto unregister_run
rem zelkpmreg.exe deletes the entry of this name, even if it is another product's.
set "shown=Cannot save the entry of another product: HKLM\%entry%"
set "code=5"
%reg% export "HKLM\%entry%" "%work%\entry.reg" /y %view% >nul 2>&1
if not "%errorlevel%"=="0" goto show_end

:unregister_run
call :run -u -c
if defined foreign %reg% import "%work%\entry.reg" %view% >nul 2>&1
if "%code%"=="0" goto unregistered
if not "%code%"=="-102" goto end

:unregistered
set "key=%record%"
call :has_key
set "registered=%there%"
set "shown=HKLM\%record%"
call :gone Record
set "key=%entry%"
call :has_key
call :find_foreign_entry
if defined foreign set "there="
set "shown=HKLM\%entry%"
call :gone UninstallEntry
set "shown=This folder is also registered as %other%, which has the same driver and provider."
if defined other call :show
if defined other goto unregister_end

set "key=%drivers%\%driver%"
call :has_key
set "shown=%driver%"
call :gone Driver
rem zelkpmreg.exe leaves the second of two neighboring data sources, which has no driver any more.
set "remove="
if "%code%"=="0" if not defined registered if not defined there set "remove=yes"
call :data_sources
set "key=%drivers%\ODBC Drivers"
set "value=%driver%"
call :read
set "there=%data%"
set "shown=%driver%"
call :gone DriverName
set "key=%xa%"
set "value=%library%"
call :read
set "there=%data%"
set "shown=%library%"
call :gone XA
call :search_provider
set "there="
if /i "%data%"=="%provider%" set "there=yes"
set "shown=%provider%"
call :gone OleDb

:unregister_end
set "shown=To remove what is left, run upgrade.cmd %name%, and then unregister.cmd %name% again."
if defined bad call :show
if defined bad if "%code%"=="0" set "code=1"
if not defined bad set "code=0"
goto end

:gone
rem Reports the part %1, which shown describes, as gone, or as left if there is set.
set "state=gone"
if defined there set "state=LEFT"
call :report %1
exit /b

:data_sources
rem Removes, or reports as left, the system data sources whose driver is exactly this copy's.
for /f "delims=" %%l in ('%reg% query "HKLM\%sources%\ODBC Data Sources" %view% 2^>nul') do (
    set "line=%%l"
    call :data_source
)
exit /b

:data_source
set "line=%line:"=%"
rem No question mark is in the name of a data source or in a path.
set "source="
for /f "tokens=1* delims=?" %%a in ("%line:    REG_SZ    =?%") do (
    set "source=%%a"
    set "data=%%b"
)
if not defined source exit /b
if /i not "%data%"=="%driver%" exit /b
set "source=%source:~4%"
if not defined source exit /b
set "shown=%source%"
set "there=yes"
if not defined remove goto source_left
%reg% delete "HKLM\%sources%\ODBC Data Sources" /v "%source%" /f %view% >nul 2>&1
if not "%errorlevel%"=="0" goto source_left
set "state=removed"
call :report DataSource
rem The data sources of all drivers are in these keys.
for %%s in ("ODBC Data Sources" "ODBC File DSN") do if /i "%%~s"=="%source%" exit /b
%reg% delete "HKLM\%sources%\%source%" /f %view% >nul 2>&1
exit /b

:source_left
call :gone DataSource
exit /b

rem ----------------------------------------------------------------------------------------------
rem verify.cmd

:verify
call :verify_parts
set "code=0"
if defined bad set "code=1"
goto end

:verify_parts
for %%v in (Zelk_Path RemoteCopy_REG_SZ ORVANEDAZELK_Error ORVANEDAZELK_REG_SZ) do set "value_%%v="
for %%v in (Driver_REG_SZ Setup_REG_SZ PerfMon_REG_SZ RetryWait_REG_SZ) do set "value_%%v="
set "key=%record%"
call :load
set "data="
if defined value_Zelk_Path set "data=%value_Zelk_Path:*_SZ    =%"
set "expected=%dir%"
call :compare Record
set "data=%value_RemoteCopy_REG_SZ%"
set "expected=YES"
call :compare RecordRemoteCopy
rem The last value of a record, so all others are there as well.
set "key=%record%\InstallData\OLEDB"
call :load
set "data=%value_ORVANEDAZELK_Error%"
set "about=HKLM\%key%"
call :exists RecordOleDb
set "class=%value_ORVANEDAZELK_REG_SZ%"

set "key=%drivers%\ODBC Drivers"
set "value=%driver%"
set "expected=Installed"
set "about=%driver%"
call :expect Driver
set "key=%drivers%\%driver%"
call :load
set "data=%value_Driver_REG_SZ%"
set "expected=%dir%BIN\zelkcli.dll"
call :compare_file DriverLibrary
set "data=%value_Setup_REG_SZ%"
set "expected=%dir%BIN\zelkodbc.dll"
call :compare_file SetupLibrary
set "key=%drivers%\ODBC Connection Pooling"
call :load
set "data=%value_PerfMon_REG_SZ%"
set "about=HKLM\%key%, PerfMon"
call :exists PoolingPerfMon
set "data=%value_RetryWait_REG_SZ%"
set "about=HKLM\%key%, RetryWait"
call :exists PoolingRetryWait
set "key=%xa%"
set "value=%library%"
set "expected=%library%"
call :expect XA
set "key=%entry%"
set "value=UninstallString"
set "expected=%dir%bin\zelkpmreg.exe -u -p -c %name%"
call :expect UninstallEntry

set "key=%classes%\%class%\InprocServer32"
set "value="
set "data="
if defined class call :read
if /i not "%data%"=="%provider%" call :search_provider
set "expected=%provider%"
call :compare OleDb

set "key=%copies%"
set "value=defaultClientInterfaceCopy"
set "expected=%name%"
if defined default call :expect DefaultCopy
if defined default exit /b
call :read
set "state=info"
set "shown=%data%"
if not defined data set "shown=(none)"
call :report DefaultCopy
exit /b

:compare_file
if exist "%expected%" goto compare
set "state=MISSING"
set "shown=%expected% (file not found)"
call :report %1
exit /b

:exists
rem Reports the part %1 by whether data is defined. Its text does not matter.
set "state=ok"
if not defined data set "state=MISSING"
set "shown=%about%"
set "about="
call :report %1
exit /b

:expect
call :read

:compare
rem Reports the part %1: whether data is as expected. about describes the part if expected does not.
set "state=WRONG"
if not defined data set "state=MISSING"
if defined data if /i "%data%"=="%expected%" set "state=ok"
if not defined about set "about=%expected%"
set "shown=%about%"
if "%state%"=="WRONG" set "shown=%data% (expected: %expected%)"
set "about="
call :report %1
exit /b

rem ----------------------------------------------------------------------------------------------
rem Shared

:run
rem Runs zelkpmreg.exe with the arguments, the name, and the options of the caller. Sets code.
"%tool%" %* %name%%given%
set "code=%errorlevel%"
exit /b

:find_foreign_entry
rem Sets foreign if the uninstall entry of this name belongs to another product.
set "foreign="
set "key=%entry%"
call :has_key
if not defined there exit /b
set "value=DisplayName"
call :read
if /i not "%data%"=="Orvane Pellimar Package - Remote - %name%" set "foreign=yes"
exit /b

:search_provider
rem Sets data to the path of a provider of this name, to this copy's if there is one. There are
rem thousands of classes, so this can take seconds.
set "data="
set "line=reg:"
for /f "delims=" %%l in ('%reg% query "HKLM\%classes%" /s /d /f orvanedazelk.dll %view% 2^>nul') do (
    set "line=%%l"
    call :match_provider
)
rem The reg.exe of Wine cannot search: "reg: Invalid syntax". Its find.exe cannot ignore case.
if not "%line:~0,4%"=="reg:" exit /b
for /f "delims=" %%l in ('%reg% query "HKLM\%classes%" /s %view% 2^>nul ^| %system%\find.exe "orvanedazelk.dll"') do (
    set "line=%%l"
    call :match_provider
)
exit /b

:match_provider
set "line=%line:"=%"
set "found=%line:*_SZ    =%"
if "%found%"=="%line%" exit /b
if /i not "%data%"=="%provider%" set "data=%found%"
exit /b

:has_key
rem Sets there if the key exists.
set "there="
%reg% query "HKLM\%key%" %view% >nul 2>&1
if "%errorlevel%"=="0" set "there=yes"
exit /b

:read
rem Sets data to the text of a value of the key, or of its default value; empties it without one.
set "data="
set which=/ve
if defined value set which=/v "%value%"
for /f "delims=" %%l in ('%reg% query "HKLM\%key%" %which% %view% 2^>nul') do set "data=%%l"
if not defined data exit /b
set "line=%data:"=%"
set "data=%line:*_SZ    =%"
if "%data%"=="%line%" set "data="
exit /b

:load
rem Sets a variable for each value of the key to the rest of its line. The first two words of the line
rem are in its name: value_Driver_REG_SZ, or value_Zelk_Path for the value "Zelk Path Name".
for /f "tokens=1,2*" %%a in ('%reg% query "HKLM\%key%" %view% 2^>nul') do set "value_%%a_%%b=%%~c"
exit /b

:report
rem Prints the state of the part %1.
set "state=%state%         "
set "part=%1                 "
set "shown=%state:~0,9%%part:~0,17%%shown%"
if "%state:~0,2%"=="MI" set "bad=yes"
if "%state:~0,2%"=="WR" set "bad=yes"
if "%state:~0,2%"=="LE" set "bad=yes"

:show
rem Prints shown, and adds it to the log.
setlocal EnableDelayedExpansion
echo !shown!
if defined log if exist "!log!" >>"%log%" echo !shown!
endlocal
exit /b

:show_end
call :show

:end
if defined work rd /s /q "%work%" >nul 2>&1
rem Not "exit /b", whose exit code a conditional operator after register.cmd does not see.
%system%\cmd.exe /d /c exit %code%
