# Registers the copy again. For Intune Remediations, with detect.ps1, and for Configuration Manager baselines.
# It copies no files: if they are missing or old, deploy the package again.
$name = 'MYCOPY'
$dir = '@ZELK_INSTALL_FOLDER@'

$code = 1
try {
    $lines = @(& "$dir\bin\zelkpmutil.exe" upgrade $name -i EN)
    $code = $LASTEXITCODE
    # Intune shows the last line: the result, with the code.
    Write-Output $lines[-1]
} catch {
    Write-Output "zelkpmutil.exe cannot be started: $_"
}
exit $code
