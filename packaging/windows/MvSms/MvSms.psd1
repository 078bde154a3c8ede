@{
    RootModule = 'MvSms.psm1'
    ModuleVersion = '1.0.0'
    GUID = 'c0b7a1de-52a7-4f0e-9a0b-6f3d7e0f8a52'
    Author = 'the mvSMS authors'
    Copyright = 'Copyright (c) 2026 the mvSMS authors'
    Description = 'Sends short text messages by modem with mvSMS, and keeps its services.'
    PowerShellVersion = '5.1'
    FunctionsToExport = @('Send-MvSms', 'Get-MvSmsService', 'Set-MvSmsService')
    CmdletsToExport = @()
    VariablesToExport = @()
    AliasesToExport = @()
}
