# Prints a line if the copy is registered, each part of it is right, and its files have this version or a
# later one. Detection script for Intune and Configuration Manager: nothing printed means not installed.
# For Intune Remediations, set $notFound to 1: remediate.ps1 then runs.
$name = 'MYCOPY'
$dir = '@ZELK_INSTALL_FOLDER@'
$version = [version]'@PROJECT_VERSION@'
$notFound = 0

$code = 1
try {
    foreach ($file in 'zelkpmreg.exe', 'zelkpmutil.exe') {
        $found = (Get-Item -LiteralPath "$dir\bin\$file" -ErrorAction Stop).VersionInfo
        # FileVersion is text, which a product may write in any form.
        if ([version]::new($found.FileMajorPart, $found.FileMinorPart, $found.FileBuildPart) -lt $version) {
            throw "$file is older"
        }
    }
    $null = & "$dir\bin\zelkpmutil.exe" verify $name
    $code = $LASTEXITCODE
} catch {
    $code = 1
}
if ($code -eq 0) {
    Write-Output "$name is registered."
    exit 0
}
exit $notFound
