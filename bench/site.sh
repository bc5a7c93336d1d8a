# Sourced by fastcgi.sh and transports.sh: the part of a domain's settings
# both runs give the program, the list of bench/run.sh reduced to the
# fields these directories have (8 listed beside the two-field name).
site_settings() {
  cat <<'SETTINGS'
WebServer:localhost
WebServerPort:80
CgiBinPath:cgi-bin/
SortResultsBy:cn
InfoDisplayNumberOfConcatenationAttributes:2
InfoDisplayCommaAfterAttributeNumber:1
DisplayFullInfoLink:T
DisplayVcard:T
field:cn:T:T:Name:Name:F:T:T:40:0:FN:F
field:sn:F:F:Surname:Surname:T:T:T:30:0:N:F
field:givenName:F:F:Given name:Given:T:T:T:30:0:+:F
field:mail:F:F:E-mail:Mail:T:T:T:40:0:EMAIL;TYPE=INTERNET:F
field:telephoneNumber:F:F:Phone:Phone:T:T:T:20:0:TEL;TYPE=WORK:F
field:title:F:F:Title:Title:T:T:T:30:0:TITLE:F
field:description:F:F:Description:Description:T:T:T:60:0:NOTE:F
field:street:F:F:Street:Street:T:T:T:40:0:ADR;TYPE=WORK:F
field:employeeNumber:F:F:Number:Number:F:T:F:10:0::F
field:departmentNumber:F:F:Department:Department:F:T:F:10:0::F
SETTINGS
}
