# Sends messages and keeps the services by the command mvsms.exe, whose words and outcomes these
# functions hand on. For Windows PowerShell 5.1 and PowerShell 7.

# The command: on the path, or where the installer has put it.
function Find-MvSms {
    $found = Get-Command mvsms.exe -CommandType Application -ErrorAction SilentlyContinue | Select-Object -First 1
    if ($found) { return $found.Path }
    foreach ($folder in "$PSScriptRoot\..\..\x64", "$PSScriptRoot\..\..\x86", "$PSScriptRoot\..\..") {
        if (Test-Path "$folder\mvsms.exe") { return "$folder\mvsms.exe" }
    }
    throw 'mvsms.exe was not found: install mvSMS, or put the command on the path'
}

# An argument as Windows' programs read them: in quotes, with backslashes doubled before a quote. What
# PowerShell itself does with quotes depends on its version.
function ConvertTo-MvSmsArgument([string]$Text) {
    '"' + (($Text -replace '(\\*)"', '$1$1\"') -replace '(\\+)$', '$1$1') + '"'
}

# Runs the command; its exit code, what it printed and what it complained of, each a text.
function Invoke-MvSms([string[]]$Arguments) {
    $start = New-Object System.Diagnostics.ProcessStartInfo (Find-MvSms)
    $start.Arguments = ($Arguments | ForEach-Object { ConvertTo-MvSmsArgument $_ }) -join ' '
    $start.UseShellExecute = $false
    $start.CreateNoWindow = $true
    $start.RedirectStandardOutput = $true
    $start.RedirectStandardError = $true
    $start.StandardOutputEncoding = [System.Text.Encoding]::UTF8
    $start.StandardErrorEncoding = [System.Text.Encoding]::UTF8
    $process = [System.Diagnostics.Process]::Start($start)
    $complaint = $process.StandardError.ReadToEndAsync()
    $output = $process.StandardOutput.ReadToEnd()
    $process.WaitForExit()
    [pscustomobject]@{ ExitCode = $process.ExitCode; Output = $output; Complaint = $complaint.Result.Trim() }
}

<#
.SYNOPSIS
Sends a message and returns what became of it.
.DESCRIPTION
An object for each recipient, as 'mvsms send --json' prints it: outcome, reason, advice, exit_code and
more. A message that was not accepted is no error of PowerShell's; look at the outcome.

With -Queue the page is handed over to the queue of the machine that the setting Gateway names; an object
has the page's id. That no page was taken is an error whose exception has the command's exit code in
Data['ExitCode']: 75 try again, 65 the text or the recipient, 78 the settings. With the same -Id another
try is the same page.
.EXAMPLE
(Send-MvSms -To 01711234567 -Text 'Pump 3 has stopped').outcome
.EXAMPLE
Send-MvSms -To 01711234567, 01721234567 -Text 'Level 5' -Fit | Where-Object exit_code -eq 75
.EXAMPLE
(Send-MvSms -Queue -To 01711234567 -Text 'Pump 3 has stopped' -Priority 0 -ExpiresMinutes 60).id
#>
function Send-MvSms {
    [CmdletBinding(DefaultParameterSetName = 'Send')]
    param(
        [Parameter(Mandatory)][string[]]$To,
        [Parameter(Mandatory, ValueFromPipeline)][string]$Text,
        [string]$From,
        [string]$Service,
        [string]$ProfileName = 'Standard',
        [switch]$Fit,
        [Parameter(ParameterSetName = 'Send')][int]$TimeoutSeconds,
        [Parameter(ParameterSetName = 'Send')][switch]$DryRun,
        [Parameter(Mandatory, ParameterSetName = 'Queue')][switch]$Queue,
        [Parameter(ParameterSetName = 'Queue')][string]$Id,
        [Parameter(ParameterSetName = 'Queue')][ValidateRange(0, 9)][Nullable[int]]$Priority,
        [Parameter(ParameterSetName = 'Queue')][int]$ExpiresMinutes,
        [Parameter(ParameterSetName = 'Queue')][string]$NotBefore
    )
    process {
        $arguments = @('send', '--json', '--profile', $ProfileName)
        foreach ($number in $To) { $arguments += '--to', $number }
        if ($From) { $arguments += '--from', $From }
        if ($Service) { $arguments += '--service', $Service }
        if ($TimeoutSeconds) { $arguments += '--timeout', "$TimeoutSeconds" }
        if ($Fit) { $arguments += '--fit' }
        if ($DryRun) { $arguments += '--dry-run' }
        if ($Queue) { $arguments += '--queue' }
        if ($Id) { $arguments += '--id', $Id }
        if ($null -ne $Priority) { $arguments += '--priority', "$Priority" }
        if ($ExpiresMinutes) { $arguments += '--expires', "$ExpiresMinutes" }
        if ($NotBefore) { $arguments += '--not-before', $NotBefore }
        $ended = Invoke-MvSms ($arguments + '--' + $Text)
        # An object of one line or of several begins at the beginning of a line.
        $ended.Output -split '(?m)^(?=\{)' | Where-Object { $_.Trim() } | ForEach-Object { ConvertFrom-Json $_ }
        if ($ended.Output.Trim() -and -not ($Queue -and $ended.ExitCode)) { return }
        $failure = New-Object System.InvalidOperationException $ended.Complaint
        $failure.Data['ExitCode'] = $ended.ExitCode
        throw $failure
    }
}

<#
.SYNOPSIS
Returns the services of a profile, or the one that is named.
.EXAMPLE
Get-MvSmsService | Format-Table
.EXAMPLE
(Get-MvSmsService Pager).TimeOut
#>
function Get-MvSmsService {
    [CmdletBinding()]
    param(
        [Parameter(Position = 0)][string]$Name,
        [string]$ProfileName = 'Standard'
    )
    $arguments = if ($Name) { 'service', 'show', '--json', '--profile', $ProfileName, '--', $Name }
                 else { 'service', 'list', '--json', '--profile', $ProfileName }
    $ended = Invoke-MvSms $arguments
    if ($ended.ExitCode -ne 0) { throw $ended.Complaint }
    (ConvertFrom-Json $ended.Output) | ForEach-Object { $_ }
}

<#
.SYNOPSIS
Adds a service, or changes the values that are given of the one that is there.
.EXAMPLE
Set-MvSmsService Pager @{ Protocol = 'TAP'; PhoneNumber = '0123456789' }
#>
function Set-MvSmsService {
    [CmdletBinding(SupportsShouldProcess)]
    param(
        [Parameter(Mandatory, Position = 0)][string]$Name,
        [Parameter(Mandatory, Position = 1)][hashtable]$Values,
        [string]$ProfileName = 'Standard'
    )
    if (-not $PSCmdlet.ShouldProcess($Name, 'change the service')) { return }
    $there = Get-MvSmsService -ProfileName $ProfileName | Where-Object { $_.name -eq $Name }
    $verb = if ($there) { 'set' } else { 'add' }
    $arguments = @('service', $verb, '--profile', $ProfileName, '--', $Name)
    foreach ($value in $Values.GetEnumerator()) { $arguments += "$($value.Key)=$($value.Value)" }
    $ended = Invoke-MvSms $arguments
    if ($ended.ExitCode -ne 0) { throw $ended.Complaint }
}

Export-ModuleMember -Function Send-MvSms, Get-MvSmsService, Set-MvSmsService
